#include "base/plat/Splitter.h"

#include <cstring>

#include "base/plat/String.h"

namespace plat {

char* Splitter::next(char separator, bool collapse) {
  const char separators[] = {separator, 0};
  return nextAny(separators, nullptr, collapse);
}

char* Splitter::nextAny(const char* separators, char* found, bool collapse) {
  if (found) *found = 0;
  if (collapse) {
    skipAny(separators);
    if (cursor && !*cursor) cursor = nullptr;
  }
  char* token = cursor;
  if (!token) return nullptr;
  cursor = strpbrk(token, separators);
  if (cursor) {
    if (found) *found = *cursor;
    *cursor++ = 0;
    if (collapse) skipAny(separators);
  }
  return token;
}

char* Splitter::nextString(const char* separator, bool collapse) {
  if (collapse) {
    skipString(separator);
    if (cursor && !*cursor) cursor = nullptr;
  }
  char* token = cursor;
  if (!token) return nullptr;
  int length = strLen(separator);
  cursor = length > 0 ? strstr(token, separator) : nullptr;
  if (cursor) {
    *cursor = 0;
    cursor += length;
    if (collapse) skipString(separator);
  }
  return token;
}

char* Splitter::lastSplit(char separator) {
  char* whole = cursor;
  if (!whole) return nullptr;
  char* last = separator ? strrchr(whole, separator) : nullptr;
  if (!last) {
    cursor = nullptr;
    return whole;
  }
  *last = 0;
  return last + 1;
}

void Splitter::skipChar(char character) {
  const char characters[] = {character, 0};
  skipAny(characters);
}

void Splitter::skipAny(const char* characters) {
  if (cursor) cursor += strspn(cursor, characters);
}

void Splitter::skipString(const char* text) {
  int length = strLen(text);
  if (!cursor || length == 0) return;
  while (startsWith(cursor, text)) cursor += length;
}

}  // namespace plat
