#include "base/plat/NumUtil.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <type_traits>

#include "base/plat/Exception.h"
#include "base/plat/NonCopyable.h"

namespace plat {

namespace {

struct ErrnoSaver : private NonCopyable {
  ErrnoSaver() { errno = 0; }
  ~ErrnoSaver() { errno = saved; }
  const int saved = errno;
};

// T is the type wanted, Wide the one that `convert` returns, which may be larger. Not
// std::from_chars(): that knows no leading blanks, plus sign, base 0 or 0x prefix.
template <class T, class Wide>
bool convertNumber(T* value, const char** cursor, int base,
                   Wide (*convert)(const char*, char**, int)) {
  if (!cursor || !*cursor) return false;
  ErrnoSaver errnoSaver;
  const char* begin = *cursor;
  char* end;
  Wide wide = convert(begin, &end, base);
  // EINVAL is a bad base, for which `end` is not set.
  if (errno == EINVAL || end == begin) return false;
  if (std::is_unsigned_v<T> && memchr(begin, '-', end - begin)) return false;
  using Limits = std::numeric_limits<Wide>;
  if (errno == ERANGE && (wide == Limits::max() || wide == Limits::min())) return false;
  if (wide < std::numeric_limits<T>::min() || wide > std::numeric_limits<T>::max()) return false;
  *value = static_cast<T>(wide);
  *cursor = end;
  return true;
}

template <class T>
using Parser = bool (*)(T*, const char**, int);

template <class T>
T parseAtCursor(Parser<T> parse, const char** cursor, int base, const char* message) {
  T value;
  if (!parse(&value, cursor, base)) throw BadNum(message);
  return value;
}

template <class T>
T parseWhole(Parser<T> parse, const char* text, int base, const char* message,
             T minimum = std::numeric_limits<T>::min(), T maximum = std::numeric_limits<T>::max()) {
  T value = parseAtCursor(parse, &text, base, message);
  if (*text || value < minimum || value > maximum) throw BadNum(message);
  return value;
}

constexpr char badInt[] = "Failed to parse integer";
constexpr char badS64[] = "Failed to parse S64 integer";
constexpr char badU64[] = "Failed to parse U64 integer";

}  // namespace

bool strToInt(int* value, const char** cursor, int base) {
  return convertNumber(value, cursor, base, strtol);
}

bool strToUInt(unsigned* value, const char** cursor, int base) {
  return convertNumber(value, cursor, base, strtoul);
}

bool strToS64(S64* value, const char** cursor, int base) {
  return convertNumber(value, cursor, base, strtoll);
}

bool strToU64(U64* value, const char** cursor, int base) {
  return convertNumber(value, cursor, base, strtoull);
}

int parseInt(const char** cursor, int base) {
  return parseAtCursor(strToInt, cursor, base, badInt);
}

unsigned parseUInt(const char** cursor, int base) {
  return parseAtCursor(strToUInt, cursor, base, badInt);
}

S64 parseS64(const char** cursor, int base) {
  return parseAtCursor(strToS64, cursor, base, badS64);
}

U64 parseU64(const char** cursor, int base) {
  return parseAtCursor(strToU64, cursor, base, badU64);
}

int parseInt(const char* text, int base, const char* message, int minimum, int maximum) {
  return parseWhole(strToInt, text, base, message ? message : badInt, minimum, maximum);
}

unsigned parseUInt(const char* text, int base, const char* message, unsigned minimum,
                   unsigned maximum) {
  return parseWhole(strToUInt, text, base, message ? message : badInt, minimum, maximum);
}

S64 parseS64(const char* text, int base) {
  return parseWhole(strToS64, text, base, badS64);
}

U64 parseU64(const char* text, int base) {
  return parseWhole(strToU64, text, base, badU64);
}

}  // namespace plat
