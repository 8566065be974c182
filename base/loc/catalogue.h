#pragma once

#include <span>

#include "base/loc/Localize.h"

namespace loc {

// The texts of the base library. Every language has the directives of the English text.
std::span<const Text> compiledTexts();

}  // namespace loc
