#include "libs/rfbenc/XrlePaletteHelper.h"

#include <gtest/gtest.h>

using rfb::XrlePaletteHelper;

TEST(XrlePaletteHelper, coloursOfOneBucketAreToldApart) {
  // All of these fall into bucket 0, or into the last one.
  for (uint32_t flip : {0u, 0x3ffu}) {
    XrlePaletteHelper helper;
    const auto colour = [flip](int i) { return static_cast<uint32_t>(i) * 1025 ^ flip; };
    for (int round = 0; round < 2; ++round) {
      EXPECT_EQ(helper.lookup(colour(5)), -1);
      for (int i = 0; i < XrlePaletteHelper::MAX_SIZE; ++i) {
        EXPECT_EQ(helper.findOrInsert(colour(i)), i);
        EXPECT_EQ(helper.lookup(colour(i)), i);
        EXPECT_EQ(helper.lookup(colour(i + 1)), -1);
        if (i > 0 && helper.size < XrlePaletteHelper::MAX_SIZE) {
          EXPECT_EQ(helper.findOrInsert(colour(i - 1)), i - 1);
        }
      }
      EXPECT_EQ(helper.size, 127);
      EXPECT_EQ(helper.colours[126], colour(126));
      helper.clear();
    }
  }
}

TEST(XrlePaletteHelper, lookupAmongTooManyColoursIsABug) {
  XrlePaletteHelper helper;
  helper.size = XrlePaletteHelper::MAX_SIZE + 1;
  EXPECT_DEATH(helper.lookup(1), "Assertion 'size <= MAX_SIZE' failed");
}
