#include <gtest/gtest.h>

#include "apps/common/PngWriter.h"
#include "tests/support/streams.h"

TEST(PngWriter, refusesWhatPngCannotHoldAndTellsOfAFullDisk) {
  const uint8_t row[3] = {};
  FILE* full = fopen("/dev/full", "w");
  ASSERT_TRUE(full);
  EXPECT_THROW(png::PngWriter(full, {0, 1, 0, 0}, {}), png::PngError);
  EXPECT_THROW(png::PngWriter(full, {0x80000000, 1, 0, 0}, {}), png::PngError);
  png::PngWriter tooEarly(full, {1, 2, 0, 0}, {}), whole(full, {1, 1, 0, 0}, {});
  tooEarly.writeRow(row);
  EXPECT_THROW(tooEarly.finish(), png::PngError);
  whole.writeRow(row);
  EXPECT_EQ(fakes::thrownBy([&] { whole.finish(); }),
            "System-28: writing the PNG file: No space left on device (28)");
  fclose(full);
}
