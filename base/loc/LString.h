#pragma once

#include <initializer_list>

#include "base/plat/DString.h"
#include "base/plat/String.h"

namespace loc {

// A value for a translated format. Texts are borrowed; null counts as empty.
class LArg {
 public:
  enum class Type { signedInt, unsignedInt, string };

  LArg(int newValue) : type(Type::signedInt), signedValue(newValue) {}
  LArg(unsigned newValue) : type(Type::unsignedInt), unsignedValue(newValue) {}
  LArg(const char* newText) : type(Type::string), text(plat::orEmpty(newText)) {}

  const Type type;
  union {
    int signedValue;
    unsigned unsignedValue;
    const char* text;
  };
};

// Appends the format with its directives filled in:
//   directive := "%%" | "%" (number "$")? "+"? ("." precision)? ("S" | "D" | "X")
// S is a text, of which the precision keeps that many bytes at most and whole
// characters; D an int, with "+" a signed one with its sign; X an unsigned one in
// hexadecimal. The number, from 1, is the argument's; only a single argument needs none.
// A per cent sign of any other directive is written twice, and an error reported.
void formatLoc(plat::DString& out, const char* format, std::initializer_list<LArg> args,
               const char* file = nullptr, int line = 0);

// The text of a key in the language of the user. It is found when the object is built.
class LString {
 public:
  // As it stands.
  explicit LString(const char* key, const char* file = __builtin_FILE(),
                   int line = __builtin_LINE());
  // The text is a format for the arguments.
  LString(const char* key, std::initializer_list<LArg> args, const char* file = __builtin_FILE(),
          int line = __builtin_LINE());

  const char* get() const { return text.orEmpty(); }

 private:
  plat::String text;
};

}  // namespace loc
