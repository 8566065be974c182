#include "base/plat/DString.h"

#include <gtest/gtest.h>
#include <wchar.h>

#include <climits>
#include <new>
#include <string>

using namespace plat;

namespace {

TEST(DString, appendsPastEveryGrowthStep) {
  DString text;
  EXPECT_EQ(text.get(), nullptr);
  text.append(nullptr);
  EXPECT_EQ(text.get(), nullptr);
  std::string expected;
  for (int i = 0; i < 300; i++) {
    char byte = static_cast<char>('a' + i % 26);
    text.append(&byte, 1);
    expected += byte;
    ASSERT_EQ(text.get(), expected);
  }
}

TEST(DString, appendsItsOwnText) {
  for (int length = 1; length < 40; length++) {
    std::string once;
    for (int i = 0; i < length; i++) once += static_cast<char>('a' + i % 26);
    DString text(once.c_str());
    text.append(text.get());
    text.append(text.get() + 1, 2);
    EXPECT_EQ(text.get(), once + once + (once + once).substr(1, 2));
  }
}

TEST(DString, formatsWhatIsLongerThanTheFormat) {
  for (int width = 0; width < 70; width++) {
    DString text("<");
    text.appendFormat("%*d", width, 7);
    text.appendFormat("%s", ">");
    EXPECT_EQ(text.length(), (width < 1 ? 1 : width) + 2);
    EXPECT_EQ(text.get()[text.length() - 1], '>');
  }
}

TEST(DString, sizesThatCannotBeHeldThrowBadAllocAndKeepTheText) {
  DString text("abc");
  EXPECT_THROW(text.appendRepeat('x', INT_MAX), std::bad_alloc);
  EXPECT_THROW(text.appendRepeat(0x1f600, INT_MAX), std::bad_alloc);
  EXPECT_THROW(text.reserve(INT_MAX), std::bad_alloc);
  // The C locale has no such character, however large the buffer is.
  EXPECT_THROW(text.appendFormat("abc%lc", static_cast<wint_t>(0xd800)), std::bad_alloc);
  EXPECT_STREQ(text.get(), "abc");
}

TEST(DString, repeatsEncodedCharacters) {
  DString text("a");
  text.appendRepeat(0x20ac, 3);
  text.appendRepeat('b', 0);
  text.appendRepeat('c', -1);
  EXPECT_STREQ(text.get(), "a€€€");
  try {
    text.appendRepeat(0x110000, 0);
    FAIL();
  } catch (const Exception& e) {
    EXPECT_STREQ(e.message, "Unicode out of range");
  }
}

TEST(DString, replacesRanges) {
  struct {
    int start, end;
    const char* text;
    int length;
    const char* expected;
  } rows[] = {{0, 0, "xy", -1, "xyabcdef"},
              {6, 6, "xy", -1, "abcdefxy"},
              {1, 3, "x", -1, "axdef"},
              {2, 4, nullptr, -1, "abef"},
              {0, 6, "0123456789abcdefghij", 17, "0123456789abcdefg"},
              {3, 2, "x", -1, "abcdef"},
              {-1, 2, "x", -1, "abcdef"},
              {0, 7, "x", -1, "abcdef"}};
  for (auto& row : rows) {
    DString text("abcdef");
    text.replace(row.start, row.end, row.text, row.length);
    EXPECT_STREQ(text.get(), row.expected);
  }
  DString text("abcdef");
  text.replace(0, 2, text.get() + 1);
  EXPECT_STREQ(text.get(), "bcdefcdef");
}

TEST(DString, replacesEveryOccurrenceFromTheLeft) {
  struct {
    const char *text, *needle, *replacement, *expected;
  } rows[] = {{"aaaaa", "aa", "b", "bba"},
              {"a.b.c", ".", "...", "a...b...c"},
              {"abab", "ab", nullptr, ""},
              {"abc", "x", "y", "abc"},
              {"aa", "a", "aa", "aaaa"}};
  for (auto& row : rows) {
    DString text(row.text);
    text.replaceAll(row.needle, row.replacement);
    EXPECT_STREQ(text.get(), row.expected);
  }
}

TEST(DStringDeathTest, emptyNeedleIsFatal) {
  DString text("abc");
  EXPECT_DEATH(text.replaceAll("", "x"), "Assertion 'findLen' failed at base/plat/DString");
}

TEST(DString, takesBytesUpToANul) {
  DString text("old text");
  text.takeFrom(MBuf<unsigned char>(reinterpret_cast<const unsigned char*>("ab\0c"), 4));
  EXPECT_STREQ(text.get(), "ab");
  text.takeFrom(MBuf<unsigned char>());
  EXPECT_STREQ(text.get(), "");
}

TEST(DString, sanitizeTouchesInvalidTextOnly) {
  DString text("a\xff\xe2\x82");
  EXPECT_TRUE(text.sanitizeUtf8());
  EXPECT_STREQ(text.get(), "a\xef\xbf\xbd\xef\xbf\xbd");
  EXPECT_FALSE(text.sanitizeUtf8());
  EXPECT_FALSE(DString().sanitizeUtf8());
}

TEST(DString, wrapsWords) {
  struct {
    const char* text;
    int width, indent;
    const char* expected;
  } rows[] = {{"aa bb cc", 5, 0, "aa bb\ncc"},
              {"aa bb cc", 4, 2, "aa\n  bb\n  cc"},
              {"aa bb cc", 8, 2, "aa bb cc"},
              {"aa   bb  cc", 7, 1, "aa   bb\n cc"},
              {"abcdefgh ij", 3, 1, "abcdefgh\n ij"},
              {"  abcdef gh", 4, 0, "  abcdef\ngh"},
              {"aa\nbb cc dd", 5, 1, "aa\nbb cc\n dd"},
              {"aa\n\nbb", 2, 1, "aa\n\nbb"},
              {"aaa bb ", 6, 1, "aaa bb"},
              {"aaa bb ", 7, 1, "aaa bb "},
              {"", 5, 1, ""}};
  for (auto& row : rows) {
    DString text(row.text);
    text.wordWrap(row.width, row.indent);
    EXPECT_STREQ(text.get(), row.expected);
  }
}

}  // namespace
