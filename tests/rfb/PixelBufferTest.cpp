#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <random>

#include "base/rfb/ColorCubeOrth.h"
#include "base/rfb/ManagedPixelBuffer.h"
#include "base/rfb/renderOps.h"
#include "tests/support/thrownBy.h"

using fakes::thrownBy;
using rfb::Colour;
using rfb::ManagedPixelBuffer;
using rfb::PixelFormat;
using rfb::Rect;
using rfb::RgnRect;

static PixelFormat formatOf(int bpp) {
  return PixelFormat(bpp, 8, false, true, 0, 0, 0, 0, 0, 0);
}

TEST(Rect, clampsToBoxesAndIntersectsToNoNegativeSize) {
  EXPECT_EQ(RgnRect(Rect(-40000, 5, 40000, 32767)), (RgnRect{-32768, 5, 32767, 32767}));
  EXPECT_EQ(Rect(0, 0, 10, 10).intersect({20, 5, 30, 8}), Rect(20, 5, 20, 8));
}

TEST(ColorCubeOrth, entriesFindThemselvesForEverySize) {
  const PixelFormat& map = PixelFormat::colourMap8();
  Colour c;
  for (int sides = 0; sides < 27; ++sides) {
    const rfb::ColorCubeOrth cube(1 + sides % 3, 2 + sides / 3 % 3, 5 + sides / 9);
    for (int i = 0; i < cube.size(); ++i) {
      map.rgbFromPixel(i, &c, &cube);
      EXPECT_EQ(map.pixelFromRGB(c, &cube), i);
    }
  }
  const rfb::ColorCubeOrth cube(6, 6, 6);
  for (int i : {1 * 36 + 2 * 6 + 5, 216, -1}) cube.getColour(i, &c);  // two leave the colour
  map.rgbFromPixel(0, &c, nullptr);
  EXPECT_EQ(c, (Colour{51, 102, 255}));
  EXPECT_EQ(cube.lookup({25, 26, 229}), 0 * 36 + 1 * 6 + 4);
  EXPECT_EQ(map.pixelFromRGB(c, nullptr), 0u);
  EXPECT_EQ(rfb::ColorCubeOrth(0, 0, 0).lookup({255, 255, 255}), 0);
}

// Sizes, formats, copies into and out of parts, and views of them.
TEST(ManagedPixelBuffer, randomCallsAgreeWithAnArrayOfPixels) {
  std::mt19937 random;
  const auto between = [&](int least, int most) {
    return least + static_cast<int>(random() % (most - least + 1));
  };
  for (int round = 0; round < 1000; ++round) {
    ManagedPixelBuffer buffer(formatOf(32), Rect(-2, 3, 6, 8), nullptr);
    buffer.setKeepContents(round % 2);
    uint32_t model[13][13] = {};  // 0 outside
    size_t capacity = buffer.capacity();
    for (int step = 0; step < 12; ++step) {
      const Rect before = buffer.getRect(), after(-2, 3, between(-3, 9), between(2, 12));
      const Rect r(between(-4, 7), between(1, 9), between(-4, 12), between(1, 12));
      const int call = between(0, 3), stride = r.width() > 0 ? between(0, 1) * (r.width() + 2) : 0;
      const int oldBpp = buffer.getPF().bpp, bpp = call == 1 ? 8 * between(1, 4) : oldBpp;
      uint8_t image[16 * 20 * 4];
      for (uint8_t& byte : image) byte = random();
      std::string error;
      if (call == 0) buffer.setSize(after.width(), after.height());
      if (call == 1) buffer.setPF(formatOf(bpp));
      if (call == 2) rfb::imageRect(&buffer, r, image, stride);
      if (call == 3) error = thrownBy([&] { buffer.getImage(image, r, stride); });
      const Rect all = buffer.getRect(), part = r.intersect(all);
      EXPECT_EQ(all, call == 0 ? after : before);
      if (!(all == before)) capacity = 0;
      capacity = std::max(capacity, buffer.sizeBytes());
      EXPECT_EQ(buffer.capacity(), capacity);
      const bool isOutside = error.find("'rect.encloses(r)'") != std::string::npos;
      EXPECT_EQ(isOutside, call == 3 && !r.isEmpty() && !(part == r));
      if (bpp != oldBpp || (!(all == before) && round % 2 == 0)) memset(model, 0, sizeof model);
      rfb::FullFramePixelBuffer view(buffer, r);
      EXPECT_EQ(view.getRect(), part.relativeTo(r.tl));
      for (int y = 0; y < 13; ++y) {
        for (int x = -3; x < 10; ++x) {
          const Rect pixel(x, y, x + 1, y + 1);
          uint32_t &expected = model[y][x + 3], copied = 0;
          if (!all.encloses(pixel)) expected = 0;
          if (!all.encloses(pixel)) continue;
          if (part.encloses(pixel)) {
            const int row = (y - r.tl.y) * (stride ? stride : r.width());
            memcpy(&copied, image + (row + x - r.tl.x) * bpp / 8, bpp / 8);
            if (call == 2) expected = copied;
            ASSERT_TRUE(call != 3 || !error.empty() || copied == expected);
            ASSERT_EQ(view.getPixel(x - r.tl.x, y - r.tl.y), expected);
          }
          if (random() % 50 == 0) buffer.setPixel(x, y, expected = random() >> (32 - bpp));
          ASSERT_EQ(buffer.getPixel(x, y), expected) << round << " " << step;
        }
      }
    }
  }
}

TEST(ManagedPixelBuffer, refusedChangesKeepTheBuffer) {
  ManagedPixelBuffer buffer(PixelFormat(), Rect(-10, 0, 2, 12), nullptr);
  buffer.setPixel(1, 11, 55);
  auto block = std::make_unique<uint8_t[]>(144);
  block[143] = 77;
  const auto fails = [](const char* text, auto action) {
    EXPECT_NE(thrownBy(action).find(text), std::string::npos) << text;
  };
  const char tooFar[] = "'Rect(RgnRect(rect)) == rect'", tooSmall[] = "'capacity_ >= sizeBytes()'";
  fails(tooFar, [&] { buffer.setSize(32778, 1); });
  fails(tooFar, [&] { buffer.setSize(1, 32768); });
  fails(tooFar, [&] { buffer.setSize(INT_MAX, INT_MAX); });
  fails(tooSmall, [&] { buffer.setBlock(std::move(block), 143); });
  fails(tooSmall, [&] { buffer.setBlock(std::move(block), 144, Rect(0, 0, 29, 5)); });
  fails("getPixelsRW out of bounds: -10,0 to 3,12 outside -10,0 to 2,12",
        [&] { buffer.getPixelsRW(Rect(-10, 0, 3, 12), nullptr); });
  EXPECT_EQ(buffer.getPixelsRW(Rect(50, 50, 50, 60), nullptr), nullptr);
  EXPECT_EQ(buffer.getPixel(1, 11), 55u);
  buffer.setBlock(std::move(block), 144, Rect(0, 0, 18, 8));
  EXPECT_EQ(buffer.getPixel(17, 7), 77u);
}
