// Null texts and the like. What these functions make of texts, the fuzz targets hold against
// other accounts of it.
#include <gtest/gtest.h>

#include <string>

#include "base/plat/BinToHex.h"
#include "base/plat/HexToBin.h"
#include "base/plat/NumUtil.h"
#include "base/plat/SString.h"
#include "base/plat/Splitter.h"
#include "base/plat/Wildcard.h"
#include "base/plat/hexDump.h"
#include "base/plat/path.h"
#include "base/plat/percentEncode.h"
#include "base/plat/utf8.h"
#include "tests/support/thrownBy.h"

using namespace plat;

namespace {

TEST(text, nullIsNoText) {
  const String nulls[] = {
      percentEncode(nullptr, false), percentDecode(nullptr, true), fixUtf8(nullptr),
      utf8ToLatin1(nullptr, 3),      latin1ToUtf8(nullptr, 3),     escapeUtf8(nullptr, '~')};
  const String empty[] = {percentEncode("", true), fixUtf8(""),         utf8ToLatin1(""),
                          latin1ToUtf8(""),        escapeUtf8("", '~'), binToHex(nullptr, 1),
                          binToHex("a", -1)};
  for (const String& text : nulls) EXPECT_EQ(text.get(), nullptr);
  for (const String& text : empty) EXPECT_STREQ(text.get(), "");
  for (auto* function : {dirName, baseName}) EXPECT_STREQ(function(nullptr).get(), ".");
  EXPECT_STREQ(normalise(nullptr).get(), ".");
  EXPECT_STREQ(join(nullptr, nullptr).get(), "/");
  EXPECT_FALSE(wildcardMatch("*", nullptr, true) || wildcardMatch(nullptr, "", true));
  EXPECT_TRUE(isValidUtf8(nullptr) && hexToBin(nullptr, 0, nullptr));
  EXPECT_FALSE(isAbsolute(nullptr) || hexToBin(nullptr, 1, nullptr));
  EXPECT_EQ(hexToBin(nullptr).size() + utf8DisplayWidth(nullptr), 0);

  Splitter none(nullptr);
  none.skipChar('a');
  none.skipString("a");
  EXPECT_EQ(none.next(',', true), nullptr);
  EXPECT_EQ(none.nextString(nullptr), nullptr);
  EXPECT_EQ(none.lastSplit(','), nullptr);

  char array[8] = "a";
  sstrAppend(array, nullptr);
  va_list noArguments{};
  sstrAppendFormat(array, 8, nullptr, noArguments);
  sstrAppendPrintf(array, 8, "b%lc", 0x20acu);  // which the locale lacks
  EXPECT_STREQ(array, "a");

  int number = 42;
  const char* cursor = nullptr;
  EXPECT_FALSE(strToInt(&number, &cursor, 10) || strToInt(&number, nullptr, 10));
  EXPECT_EQ(fakes::thrownBy([] { parseInt(static_cast<const char*>(nullptr), 10, "bad"); }),
            ": bad");
}

TEST(utf8, everyCharacterRoundTrips) {
  for (unsigned value = 0x80; value < 0x110000; value++) {
    char bytes[5] = {};
    const int length = encodeUtf8Char(value, bytes);
    const auto decoded = [&](int available) {
      const char* cursor = bytes + 1;
      return decodeUtf8Char(static_cast<unsigned char>(*bytes), &cursor, available);
    };
    const bool excluded = (value >= 0xd800 && value < 0xe000) ||
                          (value >= 0xfdd0 && value < 0xfdf0) || value % 0x10000 >= 0xfffe;
    ASSERT_EQ(decoded(4), excluded ? -1 : static_cast<int>(value));
    ASSERT_EQ(decoded(length - 1), -1);
    ASSERT_EQ(length, value < 0x800 ? 2 : value < 0x10000 ? 3 : 4);
    ASSERT_EQ(bytes[length], 0);
  }
}

TEST(wildcard, manyStarsDoNotExplode) {
  std::string pattern;
  for (int i = 0; i < 40; i++) pattern += "*a";
  EXPECT_FALSE(wildcardMatch((pattern + "b").c_str(), std::string(400, 'a').c_str(), true));
}

TEST(hex, digitsEndAtFifteen) {
  for (int i : {-1, 16}) {
    EXPECT_NE(fakes::thrownBy([&] { hexChar(i); }).find("i >= 0 && i <= 15"), std::string::npos);
  }
}

TEST(hex, dumpLinesUpItsColumns) {
  testing::internal::CaptureStderr();
  hexDump(
      "0123456789\x1f ~\x7f\x80\xff"
      "ABCDE",
      21);
  hexDump("0123456789abcdefABCDEFGHIJKLMNOP", 32, "-> ", "   ");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "0000 30 31 32 33  34 35 36 37  38 39 1f 20  7e 7f 80 ff  0123456789. ~...\n"
            "0010 41 42 43 44  45                                     ABCDE\n"
            "-> 30 31 32 33  34 35 36 37  38 39 61 62  63 64 65 66  0123456789abcdef\n"
            "   41 42 43 44  45 46 47 48  49 4a 4b 4c  4d 4e 4f 50  ABCDEFGHIJKLMNOP\n");
}

}  // namespace
