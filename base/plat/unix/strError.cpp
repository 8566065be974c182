// The XSI form of strerror_r, which reports a number without a text as a
// failure, is declared only without the GNU extensions.
#undef _GNU_SOURCE
#define _POSIX_C_SOURCE 200809L
#include <string.h>

#include "base/plat/unix/strError.h"

namespace plat {

bool strError(int err, char* buffer, int length) {
  if (strerror_r(err, buffer, static_cast<size_t>(length)) != 0) {
    buffer[0] = '\0';
    return false;
  }
  buffer[length - 1] = '\0';
  return true;
}

}  // namespace plat
