#include "base/plat/percentEncode.h"

#include <gtest/gtest.h>

#include <string>

#include "base/plat/Exception.h"

using namespace plat;

namespace {

TEST(percentEncode, keepsOnlyTheUnreserved) {
  std::string all;
  for (int byte = 1; byte < 256; byte++) all += static_cast<char>(byte);
  for (bool high : {false, true}) {
    String encoded = percentEncode(all.c_str(), high);
    const int kept = 26 * 2 + 10 + 4 + (high ? 0 : 128);
    EXPECT_EQ(encoded.length(), kept + (255 - kept) * 3);
    EXPECT_EQ(percentDecode(encoded.get(), true).get(), all);
  }
  EXPECT_STREQ(percentEncode(" /~aZ9-._*+%", false).get(), "%20%2F%7EaZ9-._*%2B%25");
}

TEST(percentDecode, refusesIncompleteEscapes) {
  EXPECT_STREQ(percentDecode("a+b%2f%2F", true).get(), "a b//");
  EXPECT_STREQ(percentDecode("a+b", false).get(), "a+b");
  for (const char* bad : {"%", "a%4", "%4g", "%g4", "%%41", "% 1"}) {
    EXPECT_THROW(percentDecode(bad, false), Exception) << bad;
  }
}

}  // namespace
