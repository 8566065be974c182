#pragma once

#include "base/plat/String.h"

namespace plat {

// Lower-case digit. Throwing assertion outside 0 to 15.
char hexChar(int i);
// Two lower-case digits a byte.
String binToHex(const void* data, int length);

}  // namespace plat
