#include "base/plat/SString.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/plat/utf8.h"

namespace plat {

namespace {

int textLength(const char* array, int capacity) {
  return static_cast<int>(strnlen(array, capacity - 1));
}

}  // namespace

void sstrAppend(char* array, int capacity, const char* text, int length) {
  if (!text) return;
  int used = textLength(array, capacity);
  int room = capacity - used;
  int bytes = static_cast<int>(strnlen(text, length < 0 ? room : std::min(length, room)));
  bool cut = bytes == room;
  if (cut) bytes--;
  memmove(array + used, text, bytes);
  array[used + bytes] = 0;
  if (cut) sstrTrimPartialUtf8(array, capacity);
}

void sstrAppendFormat(char* array, int capacity, const char* format, va_list args) {
  if (!format) return;
  int used = textLength(array, capacity);
  int room = capacity - used;
  int length = vsnprintf(array + used, room, format, args);
  if (length < 0) {
    array[used] = 0;
  } else if (length >= room) {
    sstrTrimPartialUtf8(array, capacity);
  }
}

void sstrAppendPrintf(char* array, int capacity, const char* format, ...) {
  va_list args;
  va_start(args, format);
  sstrAppendFormat(array, capacity, format, args);
  va_end(args);
}

void sstrAppendRepeat(char* array, int capacity, unsigned codePoint, int count) {
  char encoded[4];
  int bytes = encodeUtf8Char(codePoint, encoded);
  int used = textLength(array, capacity);
  count = std::min(count, (capacity - used - 1) / bytes);
  char* out = array + used;
  for (int i = 0; i < count; i++) out = std::copy_n(encoded, bytes, out);
  *out = 0;
}

void sstrTrimPartialUtf8(char* buffer, int size) {
  if (size < 2) return;
  int i = size - 2;
  while (i > 0 && i > size - 5 && isUtf8Continuation(buffer[i])) i--;
  int bytes = utf8SequenceLength(buffer[i]);
  if (bytes > 1 && i + bytes >= size) buffer[i] = 0;
}

}  // namespace plat
