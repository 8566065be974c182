#include "base/plat/DString.h"

#include <gtest/gtest.h>

#include <clocale>
#include <string>
#include <utility>

using namespace plat;

namespace {

TEST(DString, appendsItsOwnTextPastEveryGrowthStep) {
  std::string once;
  for (int length = 1; length < 40; length++) {
    once += static_cast<char>('a' + length % 26);
    DString text(once.c_str());
    text.append(text.get());
    text.append(text.get() + 1, 2);
    text.appendFormat("%*d", length, 7);
    EXPECT_EQ(text.get(),
              once + once + (once + once).substr(1, 2) + std::string(length - 1, ' ') + "7");
  }
}

TEST(DString, replacesRanges) {
  struct {
    int start, end;
    const char* text;
    int length;
    const char* expected;
  } rows[] = {{0, 0, "xy", -1, "xyabcdef"}, {6, 6, "xy", -1, "abcdefxy"},
              {2, 4, nullptr, -1, "abef"},  {0, 6, "0123456789abcdefghij", 17, "0123456789abcdefg"},
              {3, 2, "x", -1, "abcdef"},    {-1, 2, "x", -1, "abcdef"},
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
  } rows[] = {
      {"aaaaa", "aa", "b", "bba"}, {"a.b.c", ".", "...", "a...b...c"}, {"aa", "a", "aa", "aaaa"}};
  for (auto& row : rows) {
    DString text(row.text);
    text.replaceAll(row.needle, row.replacement);
    EXPECT_STREQ(text.get(), row.expected);
  }
}

TEST(DString, wrapsWords) {
  struct {
    const char* text;
    int width, indent;
    const char* expected;
  } rows[] = {{"aa bb cc", 5, 0, "aa bb\ncc"},
              {"aa bb cc", 4, 2, "aa\n  bb\n  cc"},
              {"aa   bb  cc", 7, 1, "aa   bb\n cc"},
              {"  abcdef gh", 4, 0, "  abcdef\ngh"},
              {"aa\nbb cc dd", 5, 1, "aa\nbb cc\n dd"},
              {"aa\n\nbb", 2, 1, "aa\n\nbb"},
              {"aaa bb ", 6, 1, "aaa bb"},
              // U+0301 has no width, and yet its line is not empty.
              {"\xcc\x81 aa", 2, 0, "\xcc\x81\naa"},
              {"", 5, 1, ""}};
  setlocale(LC_CTYPE, "C.UTF-8");
  for (auto& row : rows) {
    DString text(row.text);
    text.wordWrap(row.width, row.indent);
    EXPECT_STREQ(text.get(), row.expected);
  }
  setlocale(LC_CTYPE, "C");
}

TEST(DString, everyOperationLeavesItsLengthAtTheNul) {
  struct {
    void (*change)(DString&);
    const char* expected;
  } rows[] = {{[](DString& t) { t.append("x\0y", 3); }, "a b\xffx"},
              {[](DString& t) { t.appendFormat("%s%c%s", "x", 0, "y"); }, "a b\xffx"},
              {[](DString& t) { t.appendRepeat(0, 3); }, "a b\xff"},
              {[](DString& t) { t.appendRepeat(0x20ac, 2); }, "a b\xff€€"},
              {[](DString& t) { t.replace(1, 3, "xyz", 1); }, "ax\xff"},
              {[](DString& t) { t.replaceAll(" ", nullptr); }, "ab\xff"},
              {[](DString& t) { t.wordWrap(1, 0); }, "a\nb\xff"},
              {[](DString& t) { EXPECT_TRUE(t.sanitizeUtf8()); }, "a b\xef\xbf\xbd"},
              {[](DString& t) {
                 t.takeFrom({reinterpret_cast<const unsigned char*>("x\0y"), 3});
               },
               "x"},
              {[](DString& t) { t.clear(); }, ""},
              {[](DString& t) { t.release(); }, ""},
              {[](DString& t) { DString taken(std::move(t)); }, ""},
              {[](DString& t) { t = DString("x"); }, "x"}};
  for (auto& row : rows) {
    DString text("a b\xff");
    row.change(text);
    EXPECT_EQ(text.length(), strLen(row.expected)) << row.expected;
    text.append("!");
    EXPECT_EQ(text.get(), std::string(row.expected) + "!");
    EXPECT_FALSE(DString("é").sanitizeUtf8());
  }
}

// Used to grow to 1 GiB first.
TEST(DString, formatThatIsRefusedAppendsNothing) {
  DString text("ab");
  const wchar_t outsideTheLocale[] = {0x20ac, 0};
  text.appendFormat("%s%ls", "c", outsideTheLocale);
  EXPECT_STREQ(text.get(), "ab");
}

}  // namespace
