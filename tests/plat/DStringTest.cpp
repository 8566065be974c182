#include "base/plat/DString.h"

#include <gtest/gtest.h>

#include <clocale>
#include <string>
#include <utility>

#include "base/plat/utf8.h"
#include "tests/support/thrownBy.h"

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

TEST(DString, everyOperationLeavesItsLengthAtTheNul) {
  struct {
    void (*change)(DString&);
    const char* expected;
  } rows[] = {{[](DString& t) { t.append("x\0y", 3); }, "a b\xffx"},
              {[](DString& t) { t.append(nullptr); }, "a b\xff"},
              {[](DString& t) { t.appendFormat("%s%c%s", "x", 0, "y"); }, "a b\xffx"},
              {[](DString& t) {
                 va_list noArguments{};
                 t.appendFormatV(nullptr, noArguments);
               },
               "a b\xff"},
              {[](DString& t) { t.appendRepeat(0, 3); }, "a b\xff"},
              {[](DString& t) { t.appendRepeat('x', -1); }, "a b\xff"},
              {[](DString& t) { t.appendRepeat(0x20ac, 2); }, "a b\xff€€"},
              {[](DString& t) { t.replace(1, 3, t.get() + 2, 1); }, "ab\xff"},
              {[](DString& t) { t.replaceAll(" ", nullptr); }, "ab\xff"},
              {[](DString& t) { t.wordWrap(1, 0); }, "a\nb\xff"},
              {[](DString& t) { EXPECT_TRUE(t.sanitizeUtf8()); }, "a b\xef\xbf\xbd"},
              {[](DString& t) {
                 t.takeFrom({reinterpret_cast<const uint8_t*>("x\0y"), 3});
               },
               "x"},
              {[](DString& t) { t.clear(); }, ""},
              {[](DString& t) { EXPECT_EQ(t.release(), "a b\xff"); }, ""},
              {[](DString& t) { DString taken(std::move(t)); }, ""},
              {[](DString& t) { t = DString("x"); }, "x"}};
  for (auto& row : rows) {
    DString text("a b\xff");
    row.change(text);
    EXPECT_EQ(text.length(), strLen(row.expected)) << row.expected;
    text.append("!");
    EXPECT_EQ(text.get(), std::string(row.expected) + "!");
  }
  EXPECT_FALSE(DString("é").sanitizeUtf8());
}

TEST(DString, emptyTextIsNotNullOnceStored) {
  DString none, empty("");
  none.replaceAll("a", "b");
  none.wordWrap(1, 1);
  EXPECT_EQ(none.get(), nullptr);
  EXPECT_EQ(DString(none).get(), nullptr);
  empty.wordWrap(1, 1);
  EXPECT_STREQ(DString(empty).get(), "");
  none.takeFrom(MBuf<unsigned char>());
  EXPECT_STREQ(none.get(), "");
}

TEST(DString, wrapsAtColumns) {
  setlocale(LC_CTYPE, "C.UTF-8");
  DString text("ééé aa 😀\xcc\x81 b\nc");  // an emoji is two columns wide, U+0301 none
  text.wordWrap(6, 2);
  EXPECT_EQ(utf8DisplayWidth(text.get()), 6 + 1 + 6 + 1 + 1);
  setlocale(LC_CTYPE, "C");
  EXPECT_STREQ(text.get(), "ééé aa\n  😀\xcc\x81 b\nc");
}

// The first used to grow to 1 GiB.
TEST(DString, whatIsRefusedAppendsNothing) {
  DString text("ab");
  const wchar_t outsideTheLocale[] = {0x20ac, 0};
  text.appendFormat("%s%ls", "c", outsideTheLocale);
  EXPECT_EQ(fakes::thrownBy([&] { text.appendRepeat(0x110000, 1); }), ": Unicode out of range");
  EXPECT_THROW(text.reserve((int64_t{1} << 30) + 1), std::bad_alloc);
  EXPECT_THROW(text.appendRepeat('x', INT_MAX), std::bad_alloc);
  EXPECT_STREQ(text.get(), "ab");
  EXPECT_DEATH(text.replaceAll("", "x"), "findLen");
}

}  // namespace
