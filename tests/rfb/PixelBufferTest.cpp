#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "base/plat/Exception.h"
#include "base/rfb/ColorCubeOrth.h"
#include "base/rfb/ManagedPixelBuffer.h"
#include "base/rfb/renderOps.h"

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

class ListMap : public rfb::ColourMapRW {
 public:
  explicit ListMap(std::vector<Colour> newEntries) : entries(std::move(newEntries)) {}
  void getColour(int index, Colour* c) const override { *c = entries.at(index); }
  int size() const override { return static_cast<int>(entries.size()); }
  void setColour(int index, const Colour& c) override { entries.at(index) = c; }

  std::vector<Colour> entries;
};

template <class Function>
std::string assertionOf(Function function) {
  try {
    function();
  } catch (const plat::AssertionFail& failure) {
    return failure.message;
  }
  return "none";
}

}  // namespace

TEST(Rect, convertsToBoxesByClampingAndIntersectsToNoNegativeSize) {
  EXPECT_EQ(RgnRect(Rect(-40000, 5, 40000, 32767)), (RgnRect{-32768, 5, 32767, 32767}));
  EXPECT_EQ(Rect(RgnRect{1, 2, 3, 4}), Rect(1, 2, 3, 4));
  EXPECT_EQ(Rect(0, 0, 10, 10).intersect({5, -5, 20, 5}), Rect(5, 0, 10, 5));
  EXPECT_EQ(Rect(0, 0, 10, 10).intersect({20, 5, 30, 8}), Rect(20, 5, 20, 8));
  Rect widest(INT_MIN, INT_MIN, INT_MAX, INT_MAX);
  EXPECT_FALSE(widest.isEmpty());
  EXPECT_EQ(widest.width(), -1);  // wraps
}

TEST(ColourMap, lookupTakesFirstOfTheNearest) {
  ListMap map({{10, 0, 0}, {0, 0, 0}, {255, 255, 255}, {0, 10, 0}});
  EXPECT_EQ(map.lookup({5, 0, 0}), 0);
  EXPECT_EQ(map.lookup({4, 0, 0}), 1);
  EXPECT_EQ(map.lookup({5, 5, 0}), 0);
  EXPECT_EQ(map.lookup({200, 200, 200}), 2);
  EXPECT_EQ(ListMap({}).lookup({1, 2, 3}), 0);
  ListMap copied({{}, {}, {}, {}, {9, 9, 9}});
  copied.copyFrom(map);
  EXPECT_EQ(copied.entries,
            (std::vector<Colour>{{10, 0, 0}, {}, {255, 255, 255}, {0, 10, 0}, {9, 9, 9}}));
}

TEST(ColorCubeOrth, entriesFindThemselvesForEverySize) {
  for (int red : {1, 2, 6}) {
    for (int green : {1, 3, 5}) {
      for (int blue : {1, 4, 7}) {
        rfb::ColorCubeOrth cube(red, green, blue);
        ASSERT_EQ(cube.size(), red * green * blue);
        for (int i = 0; i < cube.size(); ++i) {
          Colour c;
          cube.getColour(i, &c);
          EXPECT_EQ(cube.lookup(c), i);
        }
        Colour untouched{1, 2, 3};
        cube.getColour(cube.size(), &untouched);
        cube.getColour(-1, &untouched);
        EXPECT_EQ(untouched, (Colour{1, 2, 3}));
      }
    }
  }
  Colour c;
  rfb::ColorCubeOrth(6, 6, 6).getColour(1 * 36 + 2 * 6 + 5, &c);
  EXPECT_EQ(c, (Colour{51, 102, 255}));
  EXPECT_EQ(rfb::ColorCubeOrth(0, 0, 0).lookup({255, 255, 255}), 0);
}

TEST(FullFramePixelBuffer, pixelsOfEverySizeLieWhereTheStrideSays) {
  for (int bpp : {8, 16, 24, 32}) {
    SCOPED_TRACE(bpp);
    int bytes = bpp / 8;
    std::vector<uint8_t> memory(static_cast<size_t>(5 * 3 * bytes));
    FullFramePixelBuffer buffer(formatOf(bpp), Rect(-2, 7, 2, 10), nullptr, memory.data(), 5);
    buffer.setPixel(1, 9, 0xffffffff);
    std::vector<uint8_t> expected(memory.size());
    memset(expected.data() + (5 * 2 + 3) * bytes, 0xff, static_cast<size_t>(bytes));
    EXPECT_EQ(memory, expected);
    EXPECT_EQ(buffer.getPixel(1, 9), 0xffffffffu >> (32 - bpp));
    int stride = 0;
    EXPECT_EQ(buffer.getPixelsR(Rect(0, 8, 2, 10), &stride), memory.data() + (5 + 2) * bytes);
    EXPECT_EQ(stride, 5);
  }
}

TEST(FullFramePixelBuffer, readingBeyondTheBufferIsRefusedUnlessEmpty) {
  uint8_t memory[100] = {};
  FullFramePixelBuffer buffer(PixelFormat(), Rect(0, 0, 10, 10), nullptr, memory, 0);
  EXPECT_EQ(buffer.getPixelsRW(Rect(50, 50, 50, 60), nullptr), nullptr);
  for (const Rect& r : {Rect(0, 0, 10, 11), Rect(-1, 0, 1, 1), Rect(0, -1, 1, 1)}) {
    EXPECT_NE(assertionOf([&] { buffer.getPixelsRW(r, nullptr); }), "none");
  }
  std::string message = assertionOf([&] { buffer.getPixelsRW(Rect(0, 0, 11, 10), nullptr); });
  EXPECT_EQ(message.find("Assertion 'rect.encloses(r)' failed at base/rfb/FullFramePixelBuffer"),
            0u);
  EXPECT_NE(message.find(": getPixelsRW out of bounds: 0,0 to 11,10 outside 0,0 to 10,10"),
            std::string::npos);
}

TEST(FullFramePixelBuffer, viewSeesThePartOfItsSource) {
  uint8_t memory[100] = {};
  FullFramePixelBuffer source(PixelFormat(), Rect(0, 0, 10, 10), nullptr, memory, 0);
  fill(source);
  FullFramePixelBuffer inside(source, Rect(2, 3, 6, 20));
  EXPECT_EQ(inside.getRect(), Rect(0, 0, 4, 7));
  EXPECT_EQ(inside.getPixel(3, 6), mark(5, 9));
  FullFramePixelBuffer early(source, Rect(-2, -1, 3, 3));
  EXPECT_EQ(early.getRect(), Rect(2, 1, 5, 4));
  EXPECT_EQ(early.getPixel(2, 1), mark(0, 0));
  FullFramePixelBuffer outside(source, Rect(50, 50, 60, 60));
  EXPECT_EQ(outside.width(), 0);
  EXPECT_EQ(outside.height(), 0);
}

TEST(PixelBuffer, getImagePacksRowsOrKeepsTheStride) {
  uint8_t memory[100] = {};
  FullFramePixelBuffer source(PixelFormat(), Rect(0, 0, 10, 10), nullptr, memory, 0);
  fill(source);
  uint8_t packed[8] = {}, spread[8] = {};
  source.getImage(packed, Rect(4, 5, 6, 8), 0);
  source.getImage(spread, Rect(4, 5, 6, 7), 3);
  EXPECT_EQ(std::vector<uint8_t>(packed, packed + 8),
            (std::vector<uint8_t>{0x54, 0x55, 0x64, 0x65, 0x74, 0x75, 0, 0}));
  EXPECT_EQ(std::vector<uint8_t>(spread, spread + 8),
            (std::vector<uint8_t>{0x54, 0x55, 0, 0x64, 0x65, 0, 0, 0}));
  source.getImage(nullptr, Rect(4, 5, 4, 7), 0);
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

TEST(ManagedPixelBuffer, resizingZeroesOrKeepsTheCommonPart) {
  for (bool keep : {false, true}) {
    ManagedPixelBuffer buffer(formatOf(24), Rect(1, 2, 5, 6), nullptr);
    buffer.setKeepContents(keep);
    fill(buffer);
    buffer.setSize(4, 4);
    EXPECT_EQ(buffer.getPixel(4, 5), mark(4, 5));
    buffer.setSize(6, 3);
    EXPECT_EQ(buffer.getRect(), Rect(1, 2, 7, 5));
    EXPECT_EQ(buffer.capacity(), 54u);
    for (int y = 2; y < 5; ++y) {
      for (int x = 1; x < 7; ++x) {
        EXPECT_EQ(buffer.getPixel(x, y), keep && x < 5 ? mark(x, y) : 0);
      }
    }
    buffer.setSize(0, 3);
    EXPECT_EQ(buffer.capacity(), 0u);
    buffer.setSize(-5, -3);
    EXPECT_EQ(buffer.sizeBytes(), 0u);
  }
}

TEST(ManagedPixelBuffer, newFormatZeroesAndNeverShrinks) {
  ManagedPixelBuffer buffer(formatOf(32), Rect(0, 0, 3, 3), nullptr);
  fill(buffer);
  buffer.setPF(formatOf(32));
  EXPECT_EQ(buffer.getPixel(2, 2), mark(2, 2));
  buffer.setPF(formatOf(8));
  EXPECT_EQ(buffer.capacity(), 36u);
  EXPECT_EQ(buffer.sizeBytes(), 9u);
  for (int i = 0; i < 9; ++i) EXPECT_EQ(buffer.getPixel(i % 3, i / 3), 0u);
  buffer.setSize(3, 2);
  EXPECT_EQ(buffer.capacity(), 6u);
  buffer.setPF(formatOf(16));
  EXPECT_EQ(buffer.capacity(), 12u);
}

TEST(ManagedPixelBuffer, refusedChangesKeepTheBuffer) {
  ManagedPixelBuffer buffer(PixelFormat(), Rect(-10, 0, 2, 12), nullptr);
  fill(buffer);
  auto expectUnchanged = [&] {
    EXPECT_EQ(buffer.getRect(), Rect(-10, 0, 2, 12));
    EXPECT_EQ(buffer.capacity(), 144u);
    EXPECT_EQ(buffer.getPixel(1, 11), mark(1, 11));
  };
  const char* outOfRange = "'Rect(RgnRect(rect)) == rect'";
  for (auto [w, h] : {std::pair(32778, 1), {1, 32768}, {INT_MAX, INT_MAX}}) {
    std::string message =
        assertionOf([&, width = w, height = h] { buffer.setSize(width, height); });
    EXPECT_NE(message.find(outOfRange), std::string::npos) << message;
    expectUnchanged();
  }
  EXPECT_NE(assertionOf([] {
              ManagedPixelBuffer(formatOf(32), Rect(INT_MIN, INT_MIN, INT_MAX, INT_MAX), nullptr);
            }).find(outOfRange),
            std::string::npos);

  auto block = std::make_unique<uint8_t[]>(144);
  block[143] = 77;
  std::string message = assertionOf([&] { buffer.setBlock(std::move(block), 143); });
  EXPECT_NE(message.find("'capacity_ >= sizeBytes()'"), std::string::npos);
  message = assertionOf([&] { buffer.setBlock(std::move(block), 144, Rect(0, 0, 29, 5)); });
  EXPECT_NE(message.find("'capacity_ >= sizeBytes()'"), std::string::npos);
  expectUnchanged();
  ASSERT_TRUE(block);
  buffer.setBlock(std::move(block), 144, Rect(0, 0, 18, 8));
  EXPECT_EQ(buffer.getPixel(17, 7), 77u);
}
