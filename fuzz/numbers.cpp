#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "base/plat/NumUtil.h"
#include "fuzz/fuzz.h"

// What the platform's widest forms read: the value, wherever it would fit, and what was taken.
struct Number {
  Number(const char* text, int base) {
    char* end = nullptr;
    errno = 0;
    value = strtoll(text, &end, base);
    if (errno == EINVAL || end == text) return;
    taken.assign(text, static_cast<size_t>(end - text));
    hasMinus = taken.find('-') != taken.npos;
    if (errno == ERANGE) {
      errno = 0;
      value = strtoull(text, &end, base);
      if (errno == ERANGE || hasMinus) return;
    }
    fits = true;
  }

  template <class T>
  bool isA() const {
    return fits && value >= std::numeric_limits<T>::min() &&
           value <= std::numeric_limits<T>::max() && (std::is_signed_v<T> || !hasMinus);
  }

  __int128 value = 0;
  std::string taken;
  bool hasMinus = false;
  bool fits = false;
};

template <class T>
static void check(bool (*plain)(T*, const char**, int), T (*throwing)(const char**, int),
                  const char* text, int base, const std::string& message) {
  const Number number(text, base);
  const bool expected = number.isA<T>();
  const char* cursor = text;
  T value = 42;
  errno = EDOM;
  PLAT_ASSERT(plain(&value, &cursor, base) == expected);
  PLAT_ASSERT(errno == EDOM);
  PLAT_ASSERT(value == (expected ? static_cast<T>(number.value) : T{42}));
  PLAT_ASSERT(cursor == text + (expected ? number.taken.size() : 0));
  const char* const behind = cursor;
  cursor = text;
  const std::string refusal = fuzz::refusal([&] { PLAT_ASSERT(throwing(&cursor, base) == value); });
  PLAT_ASSERT(refusal == (expected ? "" : ": " + message) && cursor == behind);
}

// The whole text as one number within limits.
template <class T, class Parse>
static void checkWhole(const char* text, int base, T minimum, T maximum, const char* message,
                       Parse parse) {
  const Number number(text, base);
  const bool expected =
      number.isA<T>() && number.taken == text && number.value >= minimum && number.value <= maximum;
  const std::string refusal = fuzz::refusal([&] { PLAT_ASSERT(parse() == number.value); });
  PLAT_ASSERT(refusal == (expected ? std::string() : std::string(": ") + message));
}

static void checkLine(const char* text, int base, int beside) {
  constexpr char ints[] = "Failed to parse integer", s64[] = "Failed to parse S64 integer",
                 u64[] = "Failed to parse U64 integer";
  check(plat::strToInt, plat::parseInt, text, base, ints);
  check(plat::strToUInt, plat::parseUInt, text, base, ints);
  check(plat::strToS64, plat::parseS64, text, base, s64);
  check(plat::strToU64, plat::parseU64, text, base, u64);
  checkWhole(text, base, INT_MIN, INT_MAX, ints, [&] { return plat::parseInt(text, base); });
  checkWhole(text, base, 0u, UINT_MAX, ints, [&] { return plat::parseUInt(text, base); });
  checkWhole(text, base, INT64_MIN, INT64_MAX, s64, [&] { return plat::parseS64(text, base); });
  checkWhole(text, base, uint64_t{0}, UINT64_MAX, u64, [&] { return plat::parseU64(text, base); });
  // Limits at the number and beside it.
  const auto limit = static_cast<int>(Number(text, base).value + beside);
  const auto limitU = static_cast<unsigned>(limit);
  checkWhole(text, base, limit, INT_MAX, "bad",
             [&] { return plat::parseInt(text, base, "bad", limit); });
  checkWhole(text, base, INT_MIN, limit, "bad",
             [&] { return plat::parseInt(text, base, "bad", INT_MIN, limit); });
  checkWhole(text, base, limitU, UINT_MAX, "bad",
             [&] { return plat::parseUInt(text, base, "bad", limitU); });
  checkWhole(text, base, 0u, limitU, "bad",
             [&] { return plat::parseUInt(text, base, "bad", 0, limitU); });
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const int anyBase = input.number(-1, 38), beside = input.number(-1, 1);
  for (const std::string& line : fuzz::split(fuzz::text(input.rest()), "\n")) {
    for (int base : {0, anyBase}) checkLine(line.c_str(), base, beside);
  }
  return 0;
}
