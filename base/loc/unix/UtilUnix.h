#pragma once

#include <span>

#include "base/plat/String.h"

namespace loc {

// What the environment names for messages, as the system spells it; null when that is
// the "C" locale or one that the system does not know. Sets and restores the
// process's locale meanwhile.
plat::String environmentLocale();
// The spellings under which the system may know a locale, the preferred ones first.
std::span<const char* const> systemCharSets();

}  // namespace loc
