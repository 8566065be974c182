#include "libs/pagefile/PageFileError.h"

#include <cinttypes>
#include <cstdio>

namespace pagefile {

PageFileError::PageFileError(uint64_t at, const char* format, ...)
    : Exception("", "PageFileError"), offset(at) {
  int length = snprintf(message, sizeof message, "byte %" PRIu64 ": ", offset);
  va_list args;
  va_start(args, format);
  vsnprintf(message + length, sizeof message - static_cast<size_t>(length), format, args);
  va_end(args);
}

}  // namespace pagefile
