#include "base/loc/TransMap.h"

#include "base/loc/PluralId.h"
#include "base/loc/Util.h"
#include "base/loc/report.h"
#include "base/plat/Assertion.h"
#include "base/plat/DString.h"
#include "base/plat/LogSrc.h"

namespace loc {

thread_local TransMap* TransMap::thrInst;

TransMap::TransMap(Scope mapScope, TransMap* mapBelow)
    : scope(mapScope), below(mapBelow), previous(thrInst) {
  if (scope == Scope::thread) thrInst = this;
}

TransMap::~TransMap() {
  if (scope == Scope::process) return;
  PLAT_ASSERT(thrInst == this);
  thrInst = previous;
}

void TransMap::add(const char* locale, const char* key, const char* text) {
  catalogues[plat::String(locale)].insert_or_assign(plat::String(key), Translation(text));
}

bool TransMap::holds(const char* locale) const {
  return catalogues.find(locale) != catalogues.end() || (below && below->holds(locale));
}

Translation* TransMap::findIn(const char* locale, const char* key) {
  auto catalogue = catalogues.find(locale);
  if (catalogue != catalogues.end()) {
    auto found = catalogue->second.find(key);
    if (found != catalogue->second.end()) return &found->second;
  }
  return below ? below->findIn(locale, key) : nullptr;
}

Translation* TransMap::find(const char* key) {
  for (const plat::String& locale : locales) {
    if (Translation* found = findIn(locale.get(), key)) return found;
  }
  return nullptr;
}

Translation* TransMap::findPlural(const char* key, int count) {
  for (const plat::String& locale : locales) {
    // The language's texts, in the forms of the region: "pt_PT" counts unlike "pt".
    plat::String holder = holds(locale.get()) ? locale : LocaleName(locale.get()).language;
    const plat::String formKey = plat::strFormat("%s_%s", key, pluralId(locale.get(), count));
    if (Translation* found = findIn(holder.get(), formKey.get())) return found;
  }
  return nullptr;
}

std::vector<plat::String> TransMap::setLocales(const std::vector<plat::String>& newLocales) {
  if (locales != newLocales) {
    locales = newLocales;
    plat::DString names;
    for (const plat::String& locale : locales) names.appendFormat(" %s", locale.get());
    log.info("Updating %s TransMap with locales:%s", scope == Scope::process ? "process" : "thread",
             names.orEmpty());
  }
  std::vector<plat::String> missing;
  for (const plat::String& locale : locales) {
    size_t known = loaded.size();
    plat::addUnique(loaded, locale.get());
    if (loaded.size() > known) missing.push_back(locale);
  }
  return missing;
}

}  // namespace loc
