#include "base/plat/SString.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

#include "base/plat/utf8.h"

using namespace plat;

namespace {

// The longest prefix of whole characters in at most `bytes` bytes.
std::string wholeCharacters(const std::string& text, size_t bytes) {
  if (text.size() <= bytes) return text;
  while (bytes > 0 && isUtf8Continuation(text[bytes])) bytes--;
  return text.substr(0, bytes);
}

TEST(SString, everyAppendCutsAtACharacterBoundary) {
  const std::string text = "aé€😀zé";
  for (int capacity = 1; capacity <= 16; capacity++) {
    for (const char* before : {"", "x", "xyz"}) {
      if (strlen(before) >= static_cast<size_t>(capacity)) continue;
      SCOPED_TRACE(std::to_string(capacity) + before);
      const std::string expected = wholeCharacters(before + text, capacity - 1);
      char appended[20], formatted[20];
      memset(appended, '#', sizeof(appended));
      strcpy(appended, before);
      memcpy(formatted, appended, sizeof(appended));
      sstrAppend(appended, capacity, text.c_str());
      sstrAppendFormat(formatted, capacity, "%s", text.c_str());
      EXPECT_EQ(appended, expected);
      EXPECT_EQ(formatted, expected);
      EXPECT_EQ(appended[capacity], '#');
      EXPECT_EQ(formatted[capacity], '#');
    }
  }
}

TEST(SString, lengthBoundsTheText) {
  const char unterminated[] = {'a', 'b', 'c'};
  char array[8] = "x";
  sstrAppend(array, unterminated, 3);
  sstrAppend(array, "de", 1);
  sstrAppend(array, "f\0g", 3);
  sstrAppend(array, nullptr);
  EXPECT_STREQ(array, "xabcdf");
}

TEST(SString, repeatsOnlyWhatFits) {
  char array[9] = "a";
  sstrAppendRepeat(array, sizeof(array), 0x20ac, INT_MAX);
  EXPECT_STREQ(array, "a€€");
  sstrAppendRepeat(array, sizeof(array), 'b', -1);
  sstrAppendRepeat(array, sizeof(array), 'b', 9);
  EXPECT_STREQ(array, "a€€b");
  EXPECT_THROW(sstrAppendRepeat(array, sizeof(array), 0x110000, 1), Exception);
}

TEST(SString, trimLooksBackOverFourBytes) {
  struct {
    const char *bytes, *expected;  // the buffer ends with the NUL of `bytes`
  } rows[] = {{"", ""},
              {"a", "a"},
              {"\xc3", ""},
              {"\xc3\xa9", "\xc3\xa9"},
              {"a\xe2\x82", "a"},
              {"a\xf0\x9f\x98", "a"},
              {"a\xf0\x9f\x98\x80", "a\xf0\x9f\x98\x80"},
              // Not a cut character: left alone.
              {"\x82\x82\x82\x82\x82", "\x82\x82\x82\x82\x82"},
              {"a\x82", "a\x82"},
              {"a\xff", "a\xff"}};
  for (auto& row : rows) {
    char buffer[16];
    strcpy(buffer, row.bytes);
    sstrTrimPartialUtf8(buffer, static_cast<int>(strlen(row.bytes)) + 1);
    EXPECT_STREQ(buffer, row.expected);
  }
}

}  // namespace
