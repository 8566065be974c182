#include "base/loc/Localize.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "base/loc/Util.h"
#include "base/loc/catalogue.h"
#include "base/loc/loadPo.h"
#include "base/loc/report.h"
#include "base/loc/unix/UtilUnix.h"
#include "base/plat/DString.h"
#include "base/plat/LogSrc.h"
#include "base/plat/utf8.h"

namespace loc {

namespace {

// Never destroyed, as the localiser that reads it.
plat::StringParameter& localeParameter() {
  static auto& parameter = *new plat::StringParameter("Locale", nullptr, "loc_param_locale", "");
  return parameter;
}

[[maybe_unused]] const Localize& presentFromStart = Localize::instance();

// The error when the text is missing, which is the key then.
plat::String takeText(Translation* found, bool raw, const char* kind, const char* key,
                      const char* file, int line) {
  if (!found) {
    reportError(file, line, "%s for \"%s\"", kind, key);
    return plat::String(key);
  }
  if (!found->use(raw)) {
    reportError(file, line, "Can't use same string as both raw and formatted - %s", key);
  }
  return plat::String(found->getText());
}

plat::String joined(const std::vector<plat::String>& list) {
  plat::DString text;
  for (const plat::String& entry : list) {
    if (text.get()) text.append(":");
    text.append(entry.get());
  }
  return text.release();
}

}  // namespace

Localize& Localize::instance() {
  static Localize& localize = *new Localize;
  return localize;
}

Localize::Localize()
    : compiledInMap(TransMap::Scope::process, nullptr),
      processMap(TransMap::Scope::process, &compiledInMap) {
  localeParameter().addCallback(this);
}

plat::String Localize::localize(const char* key, const char* file, int line, bool raw) {
  key = plat::orEmpty(key);
  std::lock_guard<plat::RecursiveMutex> lock(mutex);
  return takeText(currentMap().find(key), raw, "Missing translation", key, file, line);
}

plat::String Localize::localizePlural(const char* key, int count, const char* file, int line) {
  key = plat::orEmpty(key);
  std::lock_guard<plat::RecursiveMutex> lock(mutex);
  return takeText(currentMap().findPlural(key, count), false, "Missing plural translation", key,
                  file, line);
}

TransMap& Localize::currentMap() {
  TransMap* map = TransMap::ofThread();
  if (!map) {
    if (!loaded) updateLocales();
    map = &processMap;
  }
  readNewDirectories(*map);
  return *map;
}

TransMap& Localize::compiledIn() {
  if (!tookInCatalogues) {
    tookInCatalogues = true;
    addTexts(compiledTexts());
  }
  return compiledInMap;
}

void Localize::addTranslation(const char* locale, const char* key, const char* text) {
  if (!plat::isValidUtf8(text)) {
    return reportError(nullptr, 0, "Bad UTF-8 in %s", key);
  }
  std::lock_guard<plat::RecursiveMutex> lock(mutex);
  compiledIn().add(locale, key, text);
}

void Localize::addTexts(std::span<const Text> texts) {
  for (const Text& text : texts) {
    addTranslation("en", text.key, text.english);
    addTranslation("de", text.key, text.german);
    addTranslation("es", text.key, text.spanish);
    addTranslation("fr", text.key, text.french);
    addTranslation("pt", text.key, text.portuguese);
  }
}

void Localize::addDirectory(const char* directory) {
  std::lock_guard<plat::RecursiveMutex> lock(mutex);
  directories.emplace_back(directory);
}

void Localize::setExportLanguage(bool on) {
  std::lock_guard<plat::RecursiveMutex> lock(mutex);
  exportsLanguage = on;
}

void Localize::parameterChanged(plat::ConfigParameter*, int) {
  std::lock_guard<plat::RecursiveMutex> lock(mutex);
  wantedLocales = localeParameter().getValue();
  updateLocales();
}

void Localize::updateLocales() {
  std::lock_guard<plat::RecursiveMutex> lock(mutex);
  loaded = true;
  const std::vector<plat::String> locales = chooseLocales(wantedLocales.get());
  if (exportsLanguage) exportLanguage(locales.front().get());
  plat::String text = joined(locales);
  if (!(localesText == text)) {
    log.info("Locales %s", text.get());
    localesText = text;
  }
  load(processMap, locales);
}

bool Localize::hasLocale() {
  std::lock_guard<plat::RecursiveMutex> lock(mutex);
  std::vector<plat::String> wanted;
  addLocales(wanted, wantedLocales.orEmpty(), nullptr);
  return wanted.empty() || std::any_of(wanted.begin(), wanted.end(), [&](const auto& locale) {
           return compiledIn().holds(locale.get()) ||
                  compiledIn().holds(LocaleName(locale.get()).language.orEmpty());
         });
}

std::unique_ptr<TransMap> Localize::createThreadMap(const char* locales) {
  std::lock_guard<plat::RecursiveMutex> lock(mutex);
  auto map = std::make_unique<TransMap>(TransMap::Scope::thread, &compiledInMap);
  load(*map, chooseLocales(locales));
  return map;
}

std::vector<plat::String> Localize::chooseLocales(const char* wanted) {
  std::vector<plat::String> list;
  if (wanted && *wanted) {
    addLocales(list, wanted, nullptr);
  } else {
    if (!askedEnvironment) {
      askedEnvironment = true;
      userLocale = environmentLocale();
    }
    addLocales(list, inheritedLanguage().get(), userLocale.get());
    if (list.empty() && !userLocale.isEmpty()) {
      list.emplace_back(userLocale.get(), static_cast<int>(strcspn(userLocale.get(), ".@")));
    }
  }
  plat::addUnique(list, "en_US");
  return list;
}

void Localize::load(TransMap& map, const std::vector<plat::String>& locales) {
  compiledIn();
  readNewDirectories(map);
  for (const plat::String& locale : map.setLocales(expandLocales(locales))) {
    loadBuiltInStrings(locale.get(), map);
    for (const plat::String& directory : directories) {
      loadStringsFile(directory.get(), locale.get(), map);
    }
  }
}

void Localize::readNewDirectories(TransMap& map) {
  for (; map.directoriesRead < directories.size(); map.directoriesRead++) {
    const plat::String& directory = directories[map.directoriesRead];
    for (const plat::String& locale : map.getLoaded()) {
      loadStringsFile(directory.get(), locale.get(), map);
    }
  }
}

// LANGUAGE without what this process has put in front.
plat::String Localize::inheritedLanguage() const {
  const char* current = getenv("LANGUAGE");
  return current && exported == current ? inherited : plat::String(current);
}

void Localize::exportLanguage(const char* locale) {
  inherited = inheritedLanguage();
  plat::DString text(locale);
  if (!inherited.isEmpty()) text.append(":");
  text.append(inherited.get());
  setenv("LANGUAGE", text.get(), 1);
  exported = text.release();
}

}  // namespace loc
