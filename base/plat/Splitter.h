#pragma once

namespace plat {

// A cursor that cuts a writable string into tokens, in place: separators are
// overwritten by NULs and tokens point into the string, which is borrowed. A null
// cursor means that the input is used up; then every operation returns null. An
// empty text is one empty token, as is the text behind a last separator. With
// `collapse` a run of separators is one, and leading and trailing runs are none:
// no token is empty.
class Splitter {
 public:
  explicit Splitter(char* text) : cursor(text) {}

  char* next(char separator, bool collapse = false);
  // `found`, when not null, is the separator that ended the token, NUL at the end.
  char* nextAny(const char* separators, char* found = nullptr, bool collapse = false);
  // An empty or null separator is never found.
  char* nextString(const char* separator, bool collapse = false);
  // The part behind the last separator; the part before remains. Without one, the
  // whole text, and nothing remains.
  char* lastSplit(char separator);
  // Move the cursor over a run of what is named.
  void skipChar(char character);
  void skipAny(const char* characters);
  void skipString(const char* text);
  char* rest() const { return cursor; }

 private:
  char* cursor;
};

}  // namespace plat
