#include <cerrno>
#include <cstring>

#include "base/plat/NumUtil.h"
#include "fuzz/fuzz.h"

// A number is one again when it is printed, and the cursor stays in the text.
template <class T>
static void check(bool (*parse)(T*, const char**, int), const char* text, int base) {
  const char* cursor = text;
  T value;
  errno = EDOM;
  const bool parsed = parse(&value, &cursor, base);
  PLAT_ASSERT(errno == EDOM);
  if (!parsed) {
    PLAT_ASSERT(cursor == text);
    return;
  }
  PLAT_ASSERT(cursor > text && cursor <= text + strlen(text));
  const std::string decimal = std::to_string(value);
  cursor = decimal.c_str();
  T again;
  PLAT_ASSERT(parse(&again, &cursor, 10) && !*cursor && again == value);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const int base = input.number(-1, 38);
  const int minimum = input.anyNumber<int>(), maximum = input.anyNumber<int>();
  const std::string bytes = input.rest();
  const char* text = bytes.c_str();
  check(plat::strToInt, text, base);
  check(plat::strToUInt, text, base);
  check(plat::strToS64, text, base);
  check(plat::strToU64, text, base);
  fuzz::isRefused([&] {
    const int value = plat::parseInt(text, base, nullptr, minimum, maximum);
    PLAT_ASSERT(value >= minimum && value <= maximum);
  });
  fuzz::isRefused([&] { plat::parseU64(text, base); });
  return 0;
}
