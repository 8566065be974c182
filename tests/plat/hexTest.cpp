#include <gtest/gtest.h>

#include <cstring>

#include "base/plat/BinToHex.h"
#include "base/plat/Exception.h"
#include "base/plat/HexToBin.h"

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

TEST(hex, badTextLeavesTheBuffer) {
  MBuf<unsigned char> out(reinterpret_cast<const unsigned char*>("xyz"), 3);
  for (const char* bad : {"abc", "ab0g", "+1"}) {
    EXPECT_FALSE(hexToBin(bad, out)) << bad;
    EXPECT_EQ(memcmp(out.data(), "xyz", 3), 0);
    EXPECT_THROW(hexToBin(bad), Exception);
  }
}

}  // namespace
