#include "base/plat/Wildcard.h"

#include <cctype>

namespace plat {

namespace {

bool sameCharacter(char a, char b, bool caseSensitive) {
  return a == b || (!caseSensitive && tolower(static_cast<unsigned char>(a)) ==
                                          tolower(static_cast<unsigned char>(b)));
}

}  // namespace

bool wildcardMatch(const char* pattern, const char* text, bool caseSensitive) {
  if (!pattern || !text) return false;
  // What an earlier "*" could still give up, a later one can take as well: only
  // the last one seen need be tried again.
  const char* afterStar = nullptr;
  const char* retryAt = nullptr;
  while (*text) {
    if (*pattern == '*') {
      afterStar = ++pattern;
      retryAt = text;
    } else if (*pattern && sameCharacter(*pattern, *text, caseSensitive)) {
      pattern++;
      text++;
    } else if (afterStar) {
      pattern = afterStar;
      text = ++retryAt;
    } else {
      return false;
    }
  }
  while (*pattern == '*') pattern++;
  return !*pattern;
}

}  // namespace plat
