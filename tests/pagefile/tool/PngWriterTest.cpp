#include "apps/common/PngWriter.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/streams.h"

namespace {

const uint32_t noPixels[64] = {};

}  // namespace

TEST(PngWriter, whatPngCannotHoldIsRefused) {
  FILE* out = tmpfile();
  EXPECT_THROW(png::PngWriter(out, {0, 1, 0, 0}), png::PngError);
  EXPECT_THROW(png::PngWriter(out, {1, 0, 0, 0}), png::PngError);
  EXPECT_THROW(png::PngWriter(out, {0x80000000, 1, 0, 0}), png::PngError);
  png::PngWriter tooEarly(out, {1, 2, 0, 0});
  tooEarly.writeRow(noPixels);
  EXPECT_THROW(tooEarly.finish(), png::PngError);
  fclose(out);
}

TEST(PngWriter, fullDiskIsTold) {
  FILE* full = fopen("/dev/full", "w");
  ASSERT_TRUE(full);
  {
    png::PngWriter writer(full, {1, 1, 0, 0});
    writer.writeRow(noPixels);
    EXPECT_EQ(fakes::thrownBy([&] { writer.finish(); }),
              "System-28: writing the PNG file: No space left on device (28)");
  }
  setvbuf(full, nullptr, _IONBF, 0);
  EXPECT_EQ(fakes::thrownBy([&] {
              png::PngWriter(full, {1, 1, 0, 0});
            }),
            "System-28: writing the PNG file: No space left on device (28)");
  fclose(full);
}
