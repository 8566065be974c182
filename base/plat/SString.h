#pragma once

#include <cstdarg>

#include "base/plat/printfFormat.h"

namespace plat {

// Bounded appends to the text of a fixed array of `capacity` bytes: always
// NUL-terminated, cut at a character boundary when it does not fit, silently.
// Precondition: capacity >= 1 and the array holds a NUL-terminated text.

void sstrAppend(char* array, int capacity, const char* text, int length = -1);
void sstrAppendFormat(char* array, int capacity, const char* format, va_list args);
void sstrAppendPrintf(char* array, int capacity, const char* format, ...) PLAT_PRINTF(3, 4);
// Throws plat::Exception "Unicode out of range".
void sstrAppendRepeat(char* array, int capacity, unsigned codePoint, int count);
// The text fills the buffer of `size` bytes: drops an incomplete character at
// its end.
void sstrTrimPartialUtf8(char* buffer, int size);

template <int N>
void sstrAppend(char (&array)[N], const char* text, int length = -1) {
  sstrAppend(array, N, text, length);
}

}  // namespace plat
