#pragma once

#include <memory>
#include <span>
#include <vector>

#include "base/loc/TransMap.h"
#include "base/plat/ConfigParameter.h"
#include "base/plat/unix/RecursiveMutex.h"

namespace loc {

// A text in the languages that are compiled in.
struct Text {
  const char *key, *english, *german, *spanish, *french, *portuguese;
};

// The texts of this process by key, in the locales of the parameter "Locale", or else
// of the user. English, German, Spanish, French and Portuguese are compiled in;
// resources and files "strings.<locale>.po" add to them and take precedence. They are
// read at the first lookup. LString is the convenient way to a text.
//
// From any thread, but not from a log destination: errors are logged under the mutex.
class Localize : public plat::ParameterChangedCallback, private plat::NonCopyable {
 public:
  // Never destroyed.
  static Localize& instance();

  // The text, or the key itself when there is none, which is an error. `raw`: used as
  // it stands, not as a format. file and line: the user, for reports; file may be null.
  plat::String localize(const char* key, const char* file, int line, bool raw);
  // The format "<key>_sing" or "<key>_many", whichever is right for the count.
  plat::String localizePlural(const char* key, int count, const char* file, int line);

  // Beside the compiled-in texts, for every map. Text that is not UTF-8 is refused.
  void addTranslation(const char* locale, const char* key, const char* text);
  void addTexts(std::span<const Text> texts);
  // Where files "strings.<locale>.po" are looked for, in the order of adding; later
  // ones take precedence. Every map, also a thread's, reads them at its next lookup.
  void addDirectory(const char* directory);
  // From the parameter and the environment; reads what is new.
  void updateLocales();
  // Whether the parameter names no locale, or one of which texts are compiled in.
  bool hasLocale();
  // Puts the first locale in front of the variable LANGUAGE from the next update on, so
  // that child libraries choose the same. Off at first.
  void setExportLanguage(bool on);
  // Locales for the calling thread alone, given as in the parameter, until the map is
  // destroyed, in this thread. Its maps form a stack.
  std::unique_ptr<TransMap> createThreadMap(const char* locales);

  void parameterChanged(plat::ConfigParameter* parameter, int priority) override;

 private:
  Localize();
  ~Localize() override = default;

  TransMap& compiledIn();
  TransMap& currentMap();
  std::vector<plat::String> chooseLocales(const char* wanted);
  void load(TransMap& map, const std::vector<plat::String>& locales);
  void readNewDirectories(TransMap& map);
  plat::String inheritedLanguage() const;
  void exportLanguage(const char* locale);

  plat::RecursiveMutex mutex;
  TransMap compiledInMap;
  TransMap processMap;
  bool tookInCatalogues = false;
  bool loaded = false;
  std::vector<plat::String> directories;
  plat::String wantedLocales;  // the parameter, which belongs to the main thread
  bool askedEnvironment = false;
  plat::String userLocale;  // null: none
  plat::String localesText;
  bool exportsLanguage = false;
  plat::String exported;   // LANGUAGE as this process has set it
  plat::String inherited;  // and what it was before
};

}  // namespace loc
