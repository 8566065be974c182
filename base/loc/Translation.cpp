#include "base/loc/Translation.h"

namespace loc {

bool Translation::use(bool raw) {
  Use wanted = raw ? Use::raw : Use::formatted;
  if (used == Use::none) used = wanted;
  return used == wanted;
}

}  // namespace loc
