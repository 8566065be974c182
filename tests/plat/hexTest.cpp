#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>

#include "base/plat/BinToHex.h"
#include "base/plat/Exception.h"
#include "base/plat/HexToBin.h"
#include "base/plat/hexDump.h"

using namespace plat;

namespace {

TEST(hex, everyByteRoundTripsInBothCases) {
  unsigned char bytes[256];
  for (int i = 0; i < 256; i++) bytes[i] = static_cast<unsigned char>(i);
  String text = binToHex(bytes, 256);
  EXPECT_EQ(strncmp(text.get(), "000102030405060708090a0b", 24), 0);
  EXPECT_TRUE(hexToBin(text.get()) == MBuf<unsigned char>(bytes, 256));
  toUpper(text);
  EXPECT_TRUE(hexToBin(text.get()) == MBuf<unsigned char>(bytes, 256));
}

TEST(hex, onlyTheTwentyTwoDigitsHaveValues) {
  int digits = 0;
  for (int c = CHAR_MIN; c <= CHAR_MAX; c++) digits += hexDigitValue(static_cast<char>(c)) >= 0;
  EXPECT_EQ(digits, 22);
  EXPECT_THROW(hexChar(-1), AssertionFail);
  try {
    hexChar(16);
    FAIL();
  } catch (const AssertionFail& e) {
    EXPECT_STREQ(e.expr, "i >= 0 && i <= 15");
  }
}

TEST(hex, countedFormStopsAtTheFirstBadDigit) {
  unsigned char out[2] = {};
  EXPECT_TRUE(hexToBin("00abzz", 2, out));
  EXPECT_EQ(out[1], 0xab);
  for (const char* bad : {"0g", "g0", "0", "", " 00"}) EXPECT_FALSE(hexToBin(bad, 1, out)) << bad;
  EXPECT_TRUE(hexToBin("", 0, out));
}

TEST(hex, bufferFormLeavesTheBufferOnFailure) {
  MBuf<unsigned char> out(reinterpret_cast<const unsigned char*>("xyz"), 3);
  for (const char* bad : {"abc", "ab0g", "+1"}) {
    EXPECT_FALSE(hexToBin(bad, out)) << bad;
    EXPECT_EQ(memcmp(out.data(), "xyz", 3), 0);
    try {
      hexToBin(bad);
      FAIL();
    } catch (const Exception& e) {
      EXPECT_STREQ(e.message, "Bad hex string");
    }
  }
  EXPECT_TRUE(hexToBin("00abFF", out));
  EXPECT_STREQ(binToHex(out.data(), out.size()).get(), "00abff");
  EXPECT_TRUE(hexToBin("", out));
  EXPECT_EQ(out.size(), 0);
}

TEST(hex, lengthThatCannotBeDoubledIsRefused) {
  EXPECT_THROW(binToHex("", INT_MAX), std::bad_alloc);
}

TEST(hexDump, shortLastLineKeepsTheCharacterColumn) {
  testing::internal::CaptureStderr();
  hexDump("0123456789abcdef\x1f ~\x7f\xff", 21);
  hexDump("ab", 2, "in:  ");
  hexDump("0123456789abcdefg", 17, "> ", "  ");
  hexDump("", 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "0000 30 31 32 33  34 35 36 37  38 39 61 62  63 64 65 66  0123456789abcdef\n"
            "0010 1f 20 7e 7f  ff                                     . ~..\n"
            "in:  61 62                                               ab\n"
            "> 30 31 32 33  34 35 36 37  38 39 61 62  63 64 65 66  0123456789abcdef\n"
            "  67                                                  g\n");
}

}  // namespace
