#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <map>
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

TEST(Rect, clampsToBoxesAndWrapsNoCoordinate) {
  EXPECT_EQ(RgnRect(Rect(-40000, 5, 40000, 32767)), (RgnRect{-32768, 5, 32767, 32767}));
  EXPECT_EQ(Rect(0, 0, 10, 10).intersect({20, 5, 30, 8}), Rect(20, 5, 20, 8));
  EXPECT_EQ(Rect(INT_MIN, 3, INT_MAX, 4).width(), -1);
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
TEST(ManagedPixelBuffer, randomCallsAgreeWithAMapOfPixels) {
  std::mt19937 random;
  const auto between = [&](int least, int most) {
    return least + static_cast<int>(random() % (most - least + 1));
  };
  for (int round = 0; round < 1000; ++round) {
    ManagedPixelBuffer buffer(formatOf(32), Rect(-2, 3, 6, 8), nullptr);
    buffer.setKeepContents(round % 2);
    std::map<std::pair<int, int>, uint32_t> model;
    size_t capacity = 8 * 5 * 4;
    for (int step = 0; step < 12; ++step) {
      const Rect before = buffer.getRect(), after(-2, 3, between(-3, 9), between(2, 12));
      const Rect r(between(-4, 7), between(1, 9), between(-4, 12), between(1, 12));
      const int call = between(0, 3), stride = r.width() > 0 ? between(0, 1) * (r.width() + 2) : 0;
      const int bpp = call == 1 ? 8 * between(1, 4) : buffer.getPF().bpp;
      std::vector<uint8_t> image(16 * 20 * 4);
      for (uint8_t& byte : image) byte = random();
      std::string error;
      if (call == 0 && !(after == before)) {
        buffer.setSize(after.width(), after.height());
        capacity = buffer.sizeBytes();
        if (round % 2 == 0) model.clear();
        std::erase_if(model, [&](const auto& pixel) {
          const auto [x, y] = pixel.first;
          return !after.encloses(Rect(x, y, x + 1, y + 1));
        });
      } else if (call == 1) {
        if (bpp != buffer.getPF().bpp) model.clear();
        buffer.setPF(formatOf(bpp));
        capacity = before.isEmpty() ? capacity : std::max(capacity, buffer.sizeBytes());
      } else if (call == 2) {
        rfb::imageRect(&buffer, r, image.data(), stride);
      } else if (call == 3) {
        error = thrownBy([&] { buffer.getImage(image.data(), r, stride); });
      }
      const Rect all = buffer.getRect(), part = r.intersect(all);
      EXPECT_EQ(all, call == 0 ? after : before);
      EXPECT_EQ(buffer.capacity(), capacity);
      EXPECT_EQ(error.empty(), call != 3 || r.isEmpty() || part == r);
      rfb::FullFramePixelBuffer view(buffer, r);
      EXPECT_EQ(view.getRect(), part.relativeTo(r.tl));
      for (int y = all.tl.y; y < all.br.y; ++y) {
        for (int x = all.tl.x; x < all.br.x; ++x) {
          uint32_t &expected = model[{x, y}], imagePixel = 0;
          const int at = (y - r.tl.y) * (stride ? stride : r.width()) + x - r.tl.x;
          const bool inside = part.encloses(Rect(x, y, x + 1, y + 1));
          if (inside) memcpy(&imagePixel, image.data() + at * bpp / 8, bpp / 8);
          if (inside && call == 2) expected = imagePixel;
          ASSERT_TRUE(!inside || call != 3 || !error.empty() || imagePixel == expected);
          ASSERT_TRUE(!inside || view.getPixel(x - r.tl.x, y - r.tl.y) == expected);
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
  std::string log;
  log += thrownBy([&] { buffer.setSize(32778, 1); }) + thrownBy([&] { buffer.setSize(1, 32768); });
  log += thrownBy([&] { buffer.setSize(INT_MAX, INT_MAX); });
  log += thrownBy([&] { buffer.setBlock(std::move(block), 143); });
  log += thrownBy([&] { buffer.setBlock(std::move(block), 144, Rect(0, 0, 29, 5)); });
  log += thrownBy([&] { buffer.getPixelsRW(Rect(-10, 0, 3, 12), nullptr); });
  for (const char* text :
       {"'Rect(RgnRect(rect)) == rect'", "'Rect(RgnRect(rect)) == rect'",
        "'Rect(RgnRect(rect)) == rect'", "'capacity_ >= sizeBytes()'", "'capacity_ >= sizeBytes()'",
        "'rect.encloses(r)'", "getPixelsRW out of bounds: -10,0 to 3,12 outside -10,0 to 2,12"}) {
    const size_t at = log.find(text);
    ASSERT_NE(at, std::string::npos) << log;
    log.erase(0, at + 1);
  }
  EXPECT_EQ(buffer.getPixelsRW(Rect(50, 50, 50, 60), nullptr), nullptr);
  EXPECT_EQ(buffer.getRect(), Rect(-10, 0, 2, 12));
  EXPECT_EQ(buffer.getPixel(1, 11), 55u);
  buffer.setBlock(std::move(block), 144, Rect(0, 0, 18, 8));
  EXPECT_EQ(buffer.getPixel(17, 7), 77u);
}
