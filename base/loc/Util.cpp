#include "base/loc/Util.h"

#include <algorithm>
#include <cstring>

#include "base/plat/DString.h"
#include "base/plat/Splitter.h"

namespace loc {

namespace {

struct DefaultRegion {
  const char* language;
  const char* region;
};

// Ordered by language.
constexpr DefaultRegion defaultRegions[] = {
    {"af", "ZA"}, {"be", "BY"}, {"bg", "BG"}, {"ca", "ES"}, {"cs", "CZ"}, {"da", "DK"},
    {"de", "DE"}, {"dz", "BT"}, {"el", "GR"}, {"en", "US"}, {"es", "ES"}, {"et", "EE"},
    {"fa", "IR"}, {"fi", "FI"}, {"fo", "FO"}, {"fr", "FR"}, {"ga", "IE"}, {"gu", "IN"},
    {"he", "IL"}, {"hi", "IN"}, {"hr", "HR"}, {"hu", "HU"}, {"hy", "AM"}, {"is", "IS"},
    {"it", "IT"}, {"iu", "CA"}, {"ja", "JP"}, {"ka", "GE"}, {"ko", "KR"}, {"lt", "LT"},
    {"lv", "LV"}, {"mk", "MK"}, {"mr", "IN"}, {"mt", "MT"}, {"nb", "NO"}, {"ne", "NP"},
    {"nl", "NL"}, {"nn", "NO"}, {"pl", "PL"}, {"pt", "BR"}, {"ro", "RO"}, {"ru", "RU"},
    {"sk", "SK"}, {"sl", "SI"}, {"sr", "RS"}, {"sv", "SE"}, {"th", "TH"}, {"to", "TO"},
    {"tr", "TR"}, {"uk", "UA"}, {"ur", "PK"}, {"uz", "UZ"}, {"vi", "VN"}, {"zh", "CN"},
};

const char* defaultRegion(const char* language) {
  auto before = [](const DefaultRegion& entry, const char* wanted) {
    return strcmp(entry.language, wanted) < 0;
  };
  auto found =
      std::lower_bound(std::begin(defaultRegions), std::end(defaultRegions), language, before);
  bool known = found != std::end(defaultRegions) && !strcmp(found->language, language);
  return known ? found->region : nullptr;
}

}  // namespace

LocaleName::LocaleName(const char* name) {
  plat::String copy(name);
  plat::Splitter splitter(copy.data());
  char separator;
  language.set(splitter.nextAny("_-.@", &separator));
  if (separator == '_' || separator == '-') region.set(splitter.nextAny(".@"));
}

plat::String completeLocale(const char* entry, const char* primary) {
  const LocaleName name(entry);
  const LocaleName primaryName(primary);
  const char* region = name.region.get();
  if (name.region.isEmpty()) {
    region = name.language == primaryName.language ? primaryName.region.get() : nullptr;
    if (!region || !*region) region = defaultRegion(name.language.orEmpty());
  }
  return plat::strFormat("%s%s%s", name.language.orEmpty(), region ? "_" : "",
                         plat::orEmpty(region));
}

void addLocales(std::vector<plat::String>& list, const char* entries, const char* primary) {
  plat::String copy(entries);
  plat::Splitter splitter(copy.data());
  while (const char* entry = splitter.next(':')) {
    plat::String locale = completeLocale(entry, primary);
    if (!locale.isEmpty()) plat::addUnique(list, locale.get());
  }
}

std::vector<plat::String> expandLocales(const std::vector<plat::String>& list) {
  std::vector<plat::String> expanded;
  for (const plat::String& locale : list) {
    plat::addUnique(expanded, locale.get());
    const LocaleName name(locale.get());
    if (!name.region.isEmpty() && !name.language.isEmpty()) {
      plat::addUnique(expanded, name.language.get());
    }
  }
  // Last, also where they stand further ahead, which is the place that counts then.
  if (!expanded.empty() && expanded.back() == "en_US") expanded.pop_back();
  const size_t count = expanded.size();
  if (count < 2 || !(expanded[count - 2] == "en_US") || !(expanded[count - 1] == "en")) {
    expanded.emplace_back("en_US");
    expanded.emplace_back("en");
  }
  return expanded;
}

plat::String charSetFromName(const char* name) {
  plat::String charSet(plat::orEmpty(name));
  char* end = std::remove_if(charSet.data(), charSet.data() + charSet.length(),
                             [](char c) { return c == '-' || c == '_'; });
  *end = 0;
  plat::toLower(charSet);
  for (const char* ascii : {"isoir6", "646", "iso646"}) {
    if (charSet == ascii) return plat::String("ascii");
  }
  // The edition may follow, as in "ANSI_X3.4-1968".
  return plat::startsWith(charSet.get(), "ansix3.4") ? plat::String("ascii") : charSet;
}

}  // namespace loc
