#include "base/rfb/PixelFormat.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "base/rdr/Exceptions.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/MemOutStream.h"
#include "base/rfb/ColorCubeOrth.h"

using rfb::Colour;
using rfb::PixelFormat;

namespace {

std::string text(const PixelFormat& pf) {
  char buffer[128] = "";
  pf.print(buffer);
  return buffer;
}

PixelFormat bigEndian(PixelFormat pf) {
  pf.bigEndian = true;
  return pf;
}

PixelFormat withBppDepth(PixelFormat pf, int bpp, int depth) {
  pf.bpp = static_cast<uint8_t>(bpp);
  pf.depth = static_cast<uint8_t>(depth);
  return pf;
}

}  // namespace

TEST(PixelFormat, descriptionNamesTheLayout) {
  struct {
    PixelFormat pf;
    const char* expected;
  } table[] = {
      {PixelFormat(), "depth 8 (8 bpp) bgr233"},
      {PixelFormat::rgb565(), "depth 16 (16 bpp) little-endian rgb565"},
      {bigEndian(PixelFormat::rgb555()), "depth 15 (16 bpp) big-endian rgb555"},
      {PixelFormat::nativeRGB888(), "depth 24 (32 bpp) little-endian rgb888"},
      {PixelFormat::bgr888(), "depth 24 (32 bpp) little-endian bgr888"},
      {PixelFormat::nativeARGB8888(), "depth 32 (32 bpp) little-endian argb8888"},
      {PixelFormat::nativeABGR8888(), "depth 32 (32 bpp) little-endian abgr8888"},
      {PixelFormat(32, 32, false, true, 255, 255, 255, 24, 16, 8, 0, 255),
       "depth 32 (32 bpp) little-endian rgba8888"},
      {PixelFormat(16, 16, false, true, 15, 15, 15, 4, 8, 12, 0, 15),
       "depth 16 (16 bpp) little-endian bgra4444"},
      {PixelFormat::colourMap8(), "depth 8 (8 bpp) colour-map"},
      {PixelFormat(32, 24, false, true, 255, 255, 255, 8, 16, 0),
       "depth 24 (32 bpp) little-endian rgb max 255,255,255 shift 8,16,0"},
      {PixelFormat(32, 24, false, true, 255, 255, 255, 16, 8, 0, 24, 255),
       "depth 24 (32 bpp) little-endian rgb max 255,255,255 shift 16,8,0 alpha max 255 shift 24"},
      {PixelFormat(255, 255, true, true, 65535, 65535, 65535, 255, 255, 255, 255, 65535),
       "depth 255 (255 bpp) big-endian rgb max 65535,65535,65535 shift 255,255,255 alpha max "
       "65535 shift 255"}};
  for (const auto& row : table) EXPECT_EQ(text(row.pf), row.expected);

  char nearlyFull[128];
  std::string start(120, 'x');
  strcpy(nearlyFull, start.c_str());
  PixelFormat().print(nearlyFull);
  EXPECT_EQ(nearlyFull, start + "depth 8");
}

TEST(PixelFormat, parseTakesShortNamesOnly) {
  struct {
    const char* name;
    const char* expected;  // null: refused
  } table[] = {{"rgb565", "depth 16 (16 bpp) little-endian rgb565"},
               {"BGR233", "depth 8 (8 bpp) bgr233"},
               {"rGb999", "depth 27 (32 bpp) little-endian rgb999"},
               {"bgr333", "depth 9 (16 bpp) little-endian bgr333"},
               {"PAL8", "depth 8 (8 bpp) colour-map"},
               {"pal1", "depth 1 (8 bpp) colour-map"},
               {"pal9", nullptr},
               {"pal0", nullptr},
               {"pal", nullptr},
               {"pal8x", nullptr},
               {"rgb5650", nullptr},
               {"rgb056", nullptr},
               {"rgb5:5", nullptr},
               {"rgb56", nullptr},
               {"xyz565", nullptr},
               {"", nullptr},
               {nullptr, nullptr}};
  for (const auto& row : table) {
    SCOPED_TRACE(row.name ? row.name : "null");
    PixelFormat pf = bigEndian(PixelFormat::bgr888());
    EXPECT_EQ(pf.parse(row.name), row.expected != nullptr);
    if (row.expected) {
      EXPECT_EQ(text(pf), row.expected);
      EXPECT_TRUE(pf.isValid());
    }
  }
}

TEST(PixelFormat, isValidChecksSizesAndFields) {
  PixelFormat map = PixelFormat::colourMap8();
  PixelFormat rgb = PixelFormat::rgb565();
  PixelFormat noRed = rgb, redBeyond = rgb, alphaBeyond = rgb, bitCount = rgb;
  noRed.redMax = 0, noRed.redShift = 16;
  redBeyond.redShift = 12;
  alphaBeyond.alphaMax = 1, alphaBeyond.alphaShift = 16;
  bitCount.redMax = 0x8001, bitCount.redShift = 14;  // two bits are counted
  struct {
    PixelFormat pf;
    bool valid;
  } table[] = {{rgb, true},
               {withBppDepth(rgb, 16, 0), false},
               {withBppDepth(rgb, 16, 17), false},
               {withBppDepth(rgb, 12, 12), false},
               {withBppDepth(rgb, 8, 8), false},
               {withBppDepth(map, 32, 8), true},
               {withBppDepth(map, 16, 9), false},
               {noRed, true},
               {redBeyond, false},
               {alphaBeyond, false},
               {bitCount, true}};
  for (const auto& row : table) EXPECT_EQ(row.pf.isValid(), row.valid) << text(row.pf);
}

TEST(PixelFormat, equalityIgnoresWhatHasNoMeaning) {
  PixelFormat map = PixelFormat::colourMap8(), otherMap = map;
  otherMap.redMax = 7, otherMap.blueShift = 3;
  EXPECT_TRUE(map == otherMap);
  EXPECT_FALSE(map == withBppDepth(map, 8, 7));
  EXPECT_TRUE(PixelFormat() == bigEndian(PixelFormat()));
  EXPECT_FALSE(PixelFormat::rgb565() == bigEndian(PixelFormat::rgb565()));
  for (auto shift : {&PixelFormat::redShift, &PixelFormat::greenShift, &PixelFormat::blueShift,
                     &PixelFormat::alphaShift}) {
    PixelFormat other = PixelFormat::rgb888();
    other.*shift ^= 8;
    EXPECT_FALSE(other == PixelFormat::rgb888());
  }
}

TEST(PixelFormat, nativeFormatReadsTheSameColoursFromTheSameBytes) {
  PixelFormat rgb = bigEndian(PixelFormat::rgb888()), native = rgb;
  ASSERT_TRUE(native.makeNativeEndian());
  EXPECT_EQ(text(native), "depth 24 (32 bpp) little-endian rgb max 255,255,255 shift 8,16,24");
  for (uint32_t pixel : {0x44332211u, 0x80ff0001u}) {
    Colour before, after;
    rgb.rgbFromPixel(pixel, &before, nullptr);
    native.rgbFromPixel(pixel, &after, nullptr);
    EXPECT_EQ(before, after);
  }
  PixelFormat argb = bigEndian(PixelFormat::argb8888());
  ASSERT_TRUE(argb.makeNativeEndian());
  EXPECT_EQ(argb.alphaShift, 0);

  PixelFormat packed = bigEndian(PixelFormat::rgb565());
  EXPECT_FALSE(packed.makeNativeEndian());
  EXPECT_TRUE(packed == bigEndian(PixelFormat::rgb565()));
}

TEST(PixelFormat, coloursScaleToTheNearestAndBack) {
  PixelFormat pf = PixelFormat::rgb565();
  EXPECT_EQ(pf.pixelFromRGB({255, 128, 128}, nullptr), 31u << 11 | 32u << 5 | 16u);
  for (uint32_t pixel = 0; pixel < 0x10000; ++pixel) {
    Colour c;
    pf.rgbFromPixel(pixel, &c, nullptr);
    ASSERT_EQ(pf.pixelFromRGB(c, nullptr), pixel);
  }
  Colour c{1, 2, 3};
  bigEndian(pf).rgbFromPixel(0x00f8, &c, nullptr);
  EXPECT_EQ(c, (Colour{255, 0, 0}));

  PixelFormat noGreen(32, 16, false, true, 255, 0, 255, 8, 32, 0);
  noGreen.rgbFromPixel(0xffffffff, &c, nullptr);
  EXPECT_EQ(c, (Colour{255, 0, 255}));
  EXPECT_EQ(noGreen.pixelFromRGB({1, 255, 2}, nullptr), 0x0102u);

  rfb::ColorCubeOrth cube(2, 2, 2);
  PixelFormat map = PixelFormat::colourMap8();
  map.rgbFromPixel(5, &c, &cube);
  EXPECT_EQ(c, (Colour{255, 0, 255}));
  map.rgbFromPixel(0, &c, nullptr);
  map.rgbFromPixel(0xffffffff, &c, &cube);
  EXPECT_EQ(c, (Colour{255, 0, 255}));
  EXPECT_EQ(map.pixelFromRGB({200, 100, 0}, &cube), 4u);
  EXPECT_EQ(map.pixelFromRGB({200, 100, 0}, nullptr), 0u);
}

TEST(PixelFormat, wireFormKeepsOnlyAnAlphaThatDepthAccountsFor) {
  rdr::MemOutStream os;
  PixelFormat pf(32, 32, true, true, 0x102, 0x304, 0x506, 7, 8, 9, 10, 0xb0c);
  pf.write(os);
  const uint8_t expected[] = {32, 32, 1, 1, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0xb, 0xc};
  ASSERT_EQ(os.length(), 16);
  EXPECT_EQ(memcmp(os.data(), expected, 16), 0);

  struct {
    int depth, alphaShift, alphaMax;
    int keptShift, keptMax;
  } table[] = {{32, 24, 255, 24, 255}, {24, 24, 255, 0, 0}, {24, 24, 0, 0, 0}, {24, 0, 0, 0, 0}};
  for (const auto& row : table) {
    rdr::MemOutStream wire;
    PixelFormat(32, row.depth, false, true, 255, 255, 255, 16, 8, 0, row.alphaShift, row.alphaMax)
        .write(wire);
    rdr::MemInStream is(wire.data(), 16);
    PixelFormat read;
    read.read(is);
    EXPECT_TRUE(read == PixelFormat(32, row.depth, false, true, 255, 255, 255, 16, 8, 0,
                                    row.keptShift, row.keptMax));
    rdr::MemInStream cut(wire.data(), 15);
    PixelFormat untouched = PixelFormat::rgb565();
    EXPECT_THROW(untouched.read(cut), rdr::EndOfStream);
    EXPECT_TRUE(untouched == PixelFormat::rgb565());
  }
}
