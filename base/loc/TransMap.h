#pragma once

#include <map>
#include <vector>

#include "base/loc/Translation.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"

namespace loc {

// The texts by locale and key, and the locales in which they are looked up. Used under
// the mutex of Localize, which makes these maps.
class TransMap : private plat::NonCopyable {
 public:
  enum class Scope { process, thread };
  // `below` is asked for what this map does not hold; borrowed, may be null. A
  // thread's map takes precedence in the thread that makes it. It must end there, in
  // the reverse order of making; the one before it comes into force again then.
  TransMap(Scope scope, TransMap* below);
  ~TransMap();

  // The map in force in this thread; null: the process's.
  static TransMap* ofThread() { return thrInst; }

  // In the place of a text that has the key already.
  void add(const char* locale, const char* key, const char* text);
  // In the order of the locales; null when there is none.
  Translation* find(const char* key);
  // The form of the text that the first of the locales takes for the count.
  Translation* findPlural(const char* key, int count);

  // Returns those whose sources are still to be read.
  std::vector<plat::String> setLocales(const std::vector<plat::String>& newLocales);
  const std::vector<plat::String>& getLoaded() const { return loaded; }
  // Whether there is a text of exactly this locale.
  bool holds(const char* locale) const;
  size_t directoriesRead = 0;  // of Localize, for the locales of getLoaded()

 private:
  using Catalogue = std::map<plat::String, Translation, plat::LessString>;

  Translation* findIn(const char* locale, const char* key);

  static thread_local TransMap* thrInst;

  const Scope scope;
  TransMap* const below;
  TransMap* const previous;  // of this thread
  std::map<plat::String, Catalogue, plat::LessString> catalogues;
  std::vector<plat::String> locales;
  std::vector<plat::String> loaded;
};

}  // namespace loc
