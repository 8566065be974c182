#include <algorithm>
#include <cstring>
#include <vector>

#include "base/loc/PluralId.h"
#include "base/loc/Util.h"
#include "fuzz/fuzz.h"

// As they come in the environment.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const std::string before = fuzz::text(input.text(20));
  const std::string primary = before.substr(0, before.find(':'));
  const std::string entries = fuzz::text(input.rest());
  const char* primaryName = primary.empty() ? nullptr : primary.c_str();

  std::vector<plat::String> list;
  loc::addLocales(list, entries.c_str(), primaryName);
  for (const plat::String& locale : list) {
    PLAT_ASSERT(!locale.isEmpty() && !strpbrk(locale.get(), ":.@"));
    PLAT_ASSERT(loc::completeLocale(locale.get(), primaryName) == locale);
    PLAT_ASSERT(std::count(list.begin(), list.end(), locale) == 1);
  }
  const std::vector<plat::String> expanded = loc::expandLocales(list);
  PLAT_ASSERT(expanded.size() <= 2 * list.size() + 2);
  for (const plat::String& locale : expanded) loc::pluralId(locale.get(), 1);
  loc::charSetFromName(entries.c_str());
  return 0;
}
