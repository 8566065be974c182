#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "base/rfb/ColorCubeOrth.h"
#include "base/rfb/ManagedPixelBuffer.h"
#include "base/rfb/renderOps.h"
#include "tests/support/streams.h"

using fakes::thrownBy;
using rfb::Colour;
using rfb::FullFramePixelBuffer;
using rfb::ManagedPixelBuffer;
using rfb::PixelFormat;
using rfb::Rect;
using rfb::RgnRect;

namespace {

PixelFormat formatOf(int bpp) {
  PixelFormat pf;
  pf.bpp = static_cast<uint8_t>(bpp);
  return pf;
}

// A pixel that tells its place.
uint32_t mark(int x, int y) {
  return 0x10u * static_cast<unsigned>(y) + static_cast<unsigned>(x);
}

void fill(FullFramePixelBuffer& buffer) {
  const Rect& r = buffer.getRect();
  for (int y = r.tl.y; y < r.br.y; ++y) {
    for (int x = r.tl.x; x < r.br.x; ++x) buffer.setPixel(x, y, mark(x, y));
  }
}

}  // namespace

TEST(Rect, convertsToBoxesByClampingAndIntersectsToNoNegativeSize) {
  EXPECT_EQ(RgnRect(Rect(-40000, 5, 40000, 32767)), (RgnRect{-32768, 5, 32767, 32767}));
  EXPECT_EQ(Rect(0, 0, 10, 10).intersect({5, -5, 20, 5}), Rect(5, 0, 10, 5));
  EXPECT_EQ(Rect(0, 0, 10, 10).intersect({20, 5, 30, 8}), Rect(20, 5, 20, 8));
}

TEST(ColorCubeOrth, entriesFindThemselvesForEverySize) {
  for (int sides = 0; sides < 27; ++sides) {
    rfb::ColorCubeOrth cube(1 + sides % 3, 2 + sides / 3 % 3, 5 + sides / 9);
    for (int i = 0; i < cube.size(); ++i) {
      Colour c;
      cube.getColour(i, &c);
      EXPECT_EQ(cube.lookup(c), i);
    }
  }
  Colour c;
  rfb::ColorCubeOrth(6, 6, 6).getColour(1 * 36 + 2 * 6 + 5, &c);
  rfb::ColorCubeOrth(6, 6, 6).getColour(216, &c);  // leaves the colour
  EXPECT_EQ(c, (Colour{51, 102, 255}));
  EXPECT_EQ(rfb::ColorCubeOrth(0, 0, 0).lookup({255, 255, 255}), 0);
}

TEST(FullFramePixelBuffer, pixelsOfEverySizeLieWhereTheStrideSays) {
  for (int bpp : {8, 16, 24, 32}) {
    int bytes = bpp / 8;
    std::vector<uint8_t> memory(static_cast<size_t>(5 * 3 * bytes));
    FullFramePixelBuffer buffer(formatOf(bpp), Rect(-2, 7, 2, 10), nullptr, memory.data(), 5);
    buffer.setPixel(1, 9, 0xffffffff);
    std::vector<uint8_t> expected(memory.size());
    memset(expected.data() + (5 * 2 + 3) * bytes, 0xff, static_cast<size_t>(bytes));
    EXPECT_EQ(memory, expected);
    EXPECT_EQ(buffer.getPixel(1, 9), 0xffffffffu >> (32 - bpp));
    EXPECT_EQ(buffer.getPixelsR(Rect(0, 8, 2, 10), nullptr), memory.data() + (5 + 2) * bytes);
  }
}

TEST(FullFramePixelBuffer, partsAreSeenOrCopiedAndNothingBeyond) {
  uint8_t memory[100] = {};
  FullFramePixelBuffer source(PixelFormat(), Rect(0, 0, 10, 10), nullptr, memory, 0);
  fill(source);
  for (const Rect& r : {Rect(0, 0, 10, 11), Rect(-1, 0, 1, 1), Rect(0, -1, 1, 1)}) {
    EXPECT_NE(thrownBy([&] { source.getPixelsRW(r, nullptr); }).find("'rect.encloses(r)'"),
              std::string::npos);
  }
  EXPECT_EQ(source.getPixelsRW(Rect(50, 50, 50, 60), nullptr), nullptr);

  FullFramePixelBuffer inside(source, Rect(2, 3, 6, 20)), early(source, Rect(-2, -1, 3, 3));
  EXPECT_EQ(inside.getRect(), Rect(0, 0, 4, 7));
  EXPECT_EQ(inside.getPixel(3, 6), mark(5, 9));
  EXPECT_EQ(early.getRect(), Rect(2, 1, 5, 4));
  EXPECT_EQ(early.getPixel(2, 1), mark(0, 0));
  EXPECT_TRUE(FullFramePixelBuffer(source, Rect(50, 50, 60, 60)).getRect().isEmpty());

  std::vector<uint8_t> packed(8), spread(8);
  source.getImage(packed.data(), Rect(4, 5, 6, 8), 0);
  source.getImage(spread.data(), Rect(4, 5, 6, 7), 3);
  EXPECT_EQ(packed, (std::vector<uint8_t>{0x54, 0x55, 0x64, 0x65, 0x74, 0x75, 0, 0}));
  EXPECT_EQ(spread, (std::vector<uint8_t>{0x54, 0x55, 0, 0x64, 0x65, 0, 0, 0}));
}

TEST(renderOps, imageRectWritesOnlyWhatLiesInside) {
  std::vector<uint8_t> image(36);
  for (size_t i = 0; i < image.size(); ++i) image[i] = static_cast<uint8_t>(i + 1);
  ManagedPixelBuffer buffer(PixelFormat(), Rect(0, 0, 4, 4), nullptr);
  rfb::imageRect(&buffer, Rect(-1, -2, 5, 2), image.data(), 0);
  EXPECT_EQ(buffer.getPixel(0, 0), 14u);
  EXPECT_EQ(buffer.getPixel(3, 1), 23u);
  EXPECT_EQ(buffer.getPixel(0, 2), 0u);
  rfb::imageRect(&buffer, Rect(3, 3, 9, 9), image.data(), 6);
  EXPECT_EQ(buffer.getPixel(3, 3), 1u);
  rfb::imageRect(&buffer, Rect(8, 8, 9, 9), image.data(), 6);
}

TEST(ManagedPixelBuffer, changesZeroOrKeepTheCommonPart) {
  for (bool keep : {false, true}) {
    ManagedPixelBuffer buffer(formatOf(24), Rect(1, 2, 5, 6), nullptr);
    buffer.setKeepContents(keep);
    fill(buffer);
    buffer.setSize(4, 4);
    buffer.setPF(formatOf(24));
    EXPECT_EQ(buffer.getPixel(4, 5), mark(4, 5));
    buffer.setSize(6, 3);
    EXPECT_EQ(buffer.getRect(), Rect(1, 2, 7, 5));
    for (int y = 2; y < 5; ++y) {
      for (int x = 1; x < 7; ++x) {
        EXPECT_EQ(buffer.getPixel(x, y), keep && x < 5 ? mark(x, y) : 0);
      }
    }
    fill(buffer);
    buffer.setPF(formatOf(16));
    EXPECT_EQ(buffer.getPixel(6, 4), 0u);
    buffer.setSize(-5, -3);
    EXPECT_EQ(buffer.sizeBytes() + buffer.capacity(), 0u);
  }
}

TEST(ManagedPixelBuffer, refusedChangesKeepTheBuffer) {
  ManagedPixelBuffer buffer(PixelFormat(), Rect(-10, 0, 2, 12), nullptr);
  fill(buffer);
  auto block = std::make_unique<uint8_t[]>(144);
  block[143] = 77;
  std::string thrown;
  for (auto [w, h] : {std::pair(32778, 1), {1, 32768}, {INT_MAX, INT_MAX}}) {
    thrown += thrownBy([&, width = w, height = h] { buffer.setSize(width, height); }) + "\n";
  }
  thrown += thrownBy([&] { buffer.setBlock(std::move(block), 143); }) + "\n";
  thrown += thrownBy([&] { buffer.setBlock(std::move(block), 144, Rect(0, 0, 29, 5)); }) + "\n";
  EXPECT_EQ(std::count(thrown.begin(), thrown.end(), '\''), 10) << thrown;
  EXPECT_EQ(buffer.getRect(), Rect(-10, 0, 2, 12));
  EXPECT_EQ(buffer.getPixel(1, 11), mark(1, 11));
  ASSERT_TRUE(block);
  buffer.setBlock(std::move(block), 144, Rect(0, 0, 18, 8));
  EXPECT_EQ(buffer.getPixel(17, 7), 77u);
}
