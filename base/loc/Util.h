#pragma once

#include <vector>

#include "base/plat/String.h"

namespace loc {

// The parts of a locale name "de_DE.UTF-8@euro", or "de-DE".
struct LocaleName {
  explicit LocaleName(const char* name);

  plat::String language;
  plat::String region;  // may be null
};

// "de" becomes "de_DE": the region is the entry's own, else the primary locale's if
// that has the same language, else the usual one of the language, else none. The
// primary locale may be null.
plat::String completeLocale(const char* entry, const char* primary);
// Completes the entries of a list separated by ":" and adds those that are new.
void addLocales(std::vector<plat::String>& list, const char* entries, const char* primary);
// The order of lookup: every name with its language behind it, at last "en_US" and
// "en". Any other name that comes twice has its first place only.
std::vector<plat::String> expandLocales(const std::vector<plat::String>& list);

// One text for every spelling of a character set: case, "-" and "_" do not count, and
// ASCII has several names.
plat::String charSetFromName(const char* name);

}  // namespace loc
