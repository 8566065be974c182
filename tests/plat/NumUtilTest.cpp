#include "base/plat/NumUtil.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "base/plat/Exception.h"
#include "tests/support/thrownBy.h"

using namespace plat;

namespace {

// The value as text, or "-" for a failure; checks errno and the outputs on the way.
template <class T>
std::string parsed(bool (*parse)(T*, const char**, int), const char* text, int base) {
  T value = 42;
  const char* cursor = text;
  errno = EBADF;
  bool ok = parse(&value, &cursor, base);
  EXPECT_EQ(errno, EBADF);
  if (!ok) {
    EXPECT_EQ(value, T{42});
    EXPECT_EQ(cursor, text);
    return "-";
  }
  return std::to_string(value) + "|" + cursor;
}

TEST(NumUtil, limitsOfTheTypes) {
  struct {
    const char *text, *asInt, *asUInt, *asS64, *asU64;
  } rows[] = {{"2147483647", "2147483647|", "2147483647|", "2147483647|", "2147483647|"},
              {"2147483648", "-", "2147483648|", "2147483648|", "2147483648|"},
              {"-2147483648", "-2147483648|", "-", "-2147483648|", "-"},
              {"-2147483649", "-", "-", "-2147483649|", "-"},
              {"4294967295", "-", "4294967295|", "4294967295|", "4294967295|"},
              {"4294967296", "-", "-", "4294967296|", "4294967296|"},
              {"9223372036854775807", "-", "-", "9223372036854775807|", "9223372036854775807|"},
              {"9223372036854775808", "-", "-", "-", "9223372036854775808|"},
              {"-9223372036854775808", "-", "-", "-9223372036854775808|", "-"},
              {"18446744073709551615", "-", "-", "-", "18446744073709551615|"},
              {"18446744073709551616", "-", "-", "-", "-"},
              {" \t+7-", "7|-", "7|-", "7|-", "7|-"},
              {" -0", "0|", "-", "0|", "-"},
              {"0x1Fg", "31|g", "31|g", "31|g", "31|g"},
              {"0178", "15|8", "15|8", "15|8", "15|8"},
              {"", "-", "-", "-", "-"},
              {"-", "-", "-", "-", "-"},
              {nullptr, "-", "-", "-", "-"}};
  for (auto& row : rows) {
    SCOPED_TRACE(row.text ? row.text : "null");
    EXPECT_EQ(parsed(strToInt, row.text, 0), row.asInt);
    EXPECT_EQ(parsed(strToUInt, row.text, 0), row.asUInt);
    EXPECT_EQ(parsed(strToS64, row.text, 0), row.asS64);
    EXPECT_EQ(parsed(strToU64, row.text, 0), row.asU64);
  }
  EXPECT_EQ(parsed(strToInt, "12", 99), "-");
}

TEST(NumUtil, wholeTextFormChecksTextAndRange) {
  for (const char* text : {"12abc", "12 ", "-1", "101", "", static_cast<const char*>(nullptr)}) {
    EXPECT_THROW(parseInt(text, 10, nullptr, 0, 100), BadNum);
  }
  EXPECT_EQ(parseInt("100", 10, "bad", 0, 100), 100);
  EXPECT_EQ(parseInt("-2147483648", 10), INT_MIN);
  EXPECT_EQ(parseU64("0xffffffffffffffff", 0), UINT64_MAX);
}

TEST(NumUtil, failureSaysWhatTheCallerOrTheTypeSays) {
  const struct {
    void (*parse)(const char** cursor);
    const char* text;
    const char* message;
  } rows[] = {{[](auto c) { parseInt(*c, 10, "bad", 0, 100); }, "101", "bad"},
              {[](auto c) { parseUInt(*c, 10, "bad", 5); }, "4", "bad"},
              {[](auto c) { parseInt(*c, 10); }, "2147483648", "Failed to parse integer"},
              {[](auto c) { parseUInt(*c, 10); }, "4294967296", "Failed to parse integer"},
              {[](auto c) { parseS64(*c, 10); }, "1 ", "Failed to parse S64 integer"},
              {[](auto c) { parseU64(*c, 10); }, "-1", "Failed to parse U64 integer"},
              {[](auto c) { parseInt(c, 10); }, "x", "Failed to parse integer"},
              {[](auto c) { parseUInt(c, 10); }, "-1", "Failed to parse integer"},
              {[](auto c) { parseS64(c, 10); }, "x", "Failed to parse S64 integer"},
              {[](auto c) { parseU64(c, 10); }, "x", "Failed to parse U64 integer"}};
  for (auto& row : rows) {
    const char* cursor = row.text;
    EXPECT_EQ(fakes::thrownBy([&] { row.parse(&cursor); }), std::string(": ") + row.message);
    EXPECT_EQ(cursor, row.text);
  }
  const char* cursor = "12-34+56 78";
  EXPECT_EQ(parseInt(&cursor, 10) + parseS64(&cursor, 10), -22);
  EXPECT_EQ(parseUInt(&cursor, 10) + parseU64(&cursor, 10), 134u);
}

}  // namespace
