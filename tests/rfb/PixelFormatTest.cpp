#include "base/rfb/PixelFormat.h"

#include <gtest/gtest.h>

#include <cstring>

#include "base/rdr/Exceptions.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/MemOutStream.h"
#include "base/rfb/ColorCubeOrth.h"
#include "tests/rfb/formats.h"

using formats::bigEndian;
using formats::text;
using rfb::Colour;
using rfb::PixelFormat;

TEST(PixelFormat, descriptionNamesTheLayout) {
  const std::pair<PixelFormat, const char*> table[] = {
      {bigEndian(PixelFormat::rgb555()), "depth 15 (16 bpp) big-endian rgb555"},
      {PixelFormat::nativeBGR888(), "depth 24 (32 bpp) little-endian bgr888"},
      {PixelFormat::nativeARGB8888(), "depth 32 (32 bpp) little-endian argb8888"},
      {PixelFormat(16, 16, false, true, 15, 15, 15, 4, 8, 12, 0, 15),
       "depth 16 (16 bpp) little-endian bgra4444"},
      {PixelFormat(255, 255, true, true, 65535, 65535, 65535, 255, 255, 255, 255, 65535),
       "depth 255 (255 bpp) big-endian rgb max 65535,65535,65535 shift 255,255,255 alpha max "
       "65535 shift 255"}};
  for (const auto& [pf, expected] : table) EXPECT_EQ(text(pf), expected);

  char nearlyFull[128];
  std::string start(120, 'x');
  strcpy(nearlyFull, start.c_str());
  PixelFormat().print(nearlyFull);
  EXPECT_EQ(nearlyFull, start + "depth 8");
}

TEST(PixelFormat, parseTakesShortNamesOnly) {
  const std::pair<const char*, const char*> table[] = {
      {"rgb565", "depth 16 (16 bpp) little-endian rgb565"},
      {"BGR233", "depth 8 (8 bpp) bgr233"},
      {"rGb999", "depth 27 (32 bpp) little-endian rgb999"},
      {"PAL8", "depth 8 (8 bpp) colour-map"}};
  for (const auto& [name, expected] : table) {
    PixelFormat pf = bigEndian(PixelFormat::bgr888());
    EXPECT_TRUE(pf.parse(name) && pf.isValid()) << name;
    EXPECT_EQ(text(pf), expected);
  }
  for (const char* name : {"pal9", "pal0", "pal", "pal8x", "rgb5650", "rgb056", "rgb5:5", "rgb56",
                           "xyz565", "", static_cast<const char*>(nullptr)}) {
    EXPECT_FALSE(PixelFormat().parse(name)) << (name ? name : "null");
  }
}

TEST(PixelFormat, isValidChecksSizesAndFields) {
  const auto rgb565 = [](int bpp, int depth, int redShift = 11, int alphaMax = 0) {
    return PixelFormat(bpp, depth, false, true, 31, 63, 31, redShift, 5, 0, 16, alphaMax);
  };
  const auto map = [](int bpp, int depth) {
    return PixelFormat(bpp, depth, false, false, 0, 0, 0, 0, 0, 0);
  };
  const PixelFormat valid[] = {rgb565(16, 16), map(32, 8),
                               PixelFormat(16, 16, false, true, 0, 63, 31, 16, 5, 0)};
  for (const PixelFormat& pf : valid) EXPECT_TRUE(pf.isValid()) << text(pf);
  const PixelFormat invalid[] = {rgb565(16, 0), rgb565(16, 17),     rgb565(12, 12),
                                 rgb565(8, 8),  rgb565(16, 16, 12), rgb565(16, 16, 11, 1),
                                 map(16, 9)};
  for (const PixelFormat& pf : invalid) EXPECT_FALSE(pf.isValid()) << text(pf);
}

TEST(PixelFormat, nativeFormatReadsTheSameColoursFromTheSameBytes) {
  PixelFormat argb = bigEndian(PixelFormat::argb8888()), native = argb;
  ASSERT_TRUE(native.makeNativeEndian());
  EXPECT_FALSE(native.bigEndian);
  EXPECT_EQ(native.alphaShift, 0);
  for (uint32_t pixel : {0x44332211u, 0x80ff0001u}) {
    Colour before, after;
    argb.rgbFromPixel(pixel, &before, nullptr);
    native.rgbFromPixel(pixel, &after, nullptr);
    EXPECT_EQ(before, after);
  }
  // Without red; its shift used to become 248.
  PixelFormat noRed(16, 16, true, true, 0, 255, 255, 16, 8, 0);
  EXPECT_TRUE(noRed.makeNativeEndian() && noRed.isValid());
  EXPECT_TRUE(noRed == PixelFormat(16, 16, false, true, 0, 255, 255, 16, 0, 8));
  PixelFormat packed = bigEndian(PixelFormat::rgb565());
  EXPECT_FALSE(packed.makeNativeEndian());
  EXPECT_TRUE(packed == bigEndian(PixelFormat::rgb565()));
  EXPECT_FALSE(packed == PixelFormat::rgb565());
}

TEST(PixelFormat, coloursScaleToTheNearestAndBack) {
  PixelFormat pf = PixelFormat::rgb565();
  EXPECT_EQ(pf.pixelFromRGB({255, 128, 128}, nullptr), 31u << 11 | 32u << 5 | 16u);
  Colour c;
  for (uint32_t pixel = 0; pixel < 0x10000; ++pixel) {
    pf.rgbFromPixel(pixel, &c, nullptr);
    ASSERT_EQ(pf.pixelFromRGB(c, nullptr), pixel);
  }
  bigEndian(pf).rgbFromPixel(0x00f8, &c, nullptr);
  EXPECT_EQ(c, (Colour{255, 0, 0}));
  PixelFormat noGreen(32, 16, false, true, 255, 0, 255, 8, 32, 0);
  noGreen.rgbFromPixel(0xffffffff, &c, nullptr);
  EXPECT_EQ(c, (Colour{255, 0, 255}));
  EXPECT_EQ(noGreen.pixelFromRGB({1, 255, 2}, nullptr), 0x0102u);

  rfb::ColorCubeOrth cube(2, 2, 2);
  PixelFormat map = PixelFormat::colourMap8();
  map.rgbFromPixel(5, &c, &cube);
  map.rgbFromPixel(0xffffffff, &c, &cube);  // no entry: leaves the colour
  EXPECT_EQ(c, (Colour{255, 0, 255}));
  EXPECT_EQ(map.pixelFromRGB({200, 100, 0}, &cube), 4u);
}

TEST(PixelFormat, wireFormKeepsOnlyAnAlphaThatDepthAccountsFor) {
  rdr::MemOutStream os;
  PixelFormat(32, 32, true, true, 0x102, 0x304, 0x506, 7, 8, 9, 10, 0xb0c).write(os);
  const uint8_t expected[] = {32, 32, 1, 1, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0xb, 0xc};
  ASSERT_EQ(os.length(), 16);
  EXPECT_EQ(memcmp(os.data(), expected, 16), 0);
  for (int depth : {24, 32}) {
    rdr::MemOutStream wire;
    PixelFormat(32, depth, false, true, 255, 255, 255, 16, 8, 0, 24, 255).write(wire);
    PixelFormat read;
    rdr::MemInStream cut(wire.data(), 15), whole(wire.data(), 16);
    EXPECT_THROW(read.read(cut), rdr::EndOfStream);
    EXPECT_TRUE(read == PixelFormat());
    read.read(whole);
    EXPECT_TRUE(read ==
                (depth == 32 ? PixelFormat::nativeARGB8888() : PixelFormat::nativeRGB888()));
  }
}
