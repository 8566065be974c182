#include "base/rfb/PixelFormat.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <random>

#include "base/rdr/Exceptions.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/MemOutStream.h"
#include "base/rfb/ColourMap.h"
#include "tests/rfb/formats.h"

using formats::bigEndian;
using formats::nearest;
using formats::text;
using rfb::PixelFormat;

namespace {

// As a PixelFormat lies in memory; the channels in the order "rgba".
struct Fields {
  uint8_t bpp = 32, depth = 0, bigEndian = 0, trueColour = 1;
  uint16_t max[4] = {};
  uint8_t shift[4] = {};

  operator PixelFormat() const { return std::bit_cast<PixelFormat>(*this); }
};

// Changed in one byte.
PixelFormat changed(const PixelFormat& pf, int byte) {
  auto bytes = std::bit_cast<std::array<uint8_t, 16>>(pf);
  bytes[byte] ^= 1;
  return std::bit_cast<PixelFormat>(bytes);
}

}  // namespace

TEST(PixelFormat, equalityIgnoresWhatMakesNoDifference) {
  const PixelFormat map(32, 8, false, false, 1, 2, 3, 4, 5, 6);
  for (const PixelFormat& pf : {PixelFormat::argb8888(), PixelFormat::rgb222(), map}) {
    for (int byte = 0; byte < 16; ++byte) {
      const bool ignored = byte == 2 ? pf.bpp == 8 : byte > 3 && !pf.trueColour;
      EXPECT_EQ(pf == changed(pf, byte), ignored) << text(pf) << " " << byte;
    }
  }
}

TEST(PixelFormat, randomFormatsAreJudgedAndScaleColoursByTheirFields) {
  std::mt19937 random;
  for (int i = 0; i < 100000; ++i) {
    Fields fields{static_cast<uint8_t>(random() % 10 * 4), static_cast<uint8_t>(random() % 36)};
    fields.trueColour = random() % 4 > 0;
    bool isValid = fields.bpp % 8 == 0 && fields.depth > 0 && fields.depth <= fields.bpp &&
                   fields.bpp <= 32 && (fields.trueColour || fields.depth <= 8);
    for (int channel = 0; channel < 4; ++channel) {
      const int bits = random() % 3 ? random() % 17 : 8, shift = random() % (i % 8 * 4 + 2);
      fields.max[channel] = (1 << bits) - 1;
      fields.shift[channel] = i % 3 ? shift : shift / 8 * 8;
      isValid &= !fields.trueColour || fields.shift[channel] + bits <= fields.bpp;
    }
    const PixelFormat pf(fields), swapped = bigEndian(pf);
    ASSERT_EQ(pf.isValid(), isValid) << text(pf);
    if (!isValid || !pf.trueColour) continue;

    const uint32_t pixel = random(), reversed = swapped.storedPixel(pixel);
    const int colour[] = {static_cast<int>(random() % 256), 255, static_cast<int>(random() % 256)};
    rfb::Colour c, c2, c3;
    pf.rgbFromPixel(pixel, &c, nullptr);
    uint32_t made = 0;
    for (int channel : {0, 1, 2}) {
      const int max = fields.max[channel], shift = max ? fields.shift[channel] : 0;
      const int component = std::array{c.red, c.green, c.blue}[channel];
      ASSERT_EQ(component, nearest(pixel >> shift & max, max, 255)) << text(pf);
      made |= nearest(colour[channel], 255, max) << shift;
    }
    ASSERT_EQ(pf.pixelFromRGB({colour[0], colour[1], colour[2]}, nullptr), made) << text(pf);

    // The same of the same bytes, of which a little-endian format may not exist.
    PixelFormat native = swapped;
    const bool exists = native.makeNativeEndian();
    ASSERT_EQ(exists, pf.bpp == 8 || pf.hasByteChannels()) << text(pf);
    ASSERT_TRUE(exists ? native.isNativeEndian() && native.isValid() : native == swapped);
    if (pf.bpp == 24) continue;
    swapped.rgbFromPixel(reversed, &c2, nullptr);
    native.rgbFromPixel(reversed, &c3, nullptr);
    ASSERT_TRUE(c == c2 && c == c3) << text(pf);
  }
}

TEST(PixelFormat, descriptionNamesChannelsThatFillTheDepthInOrder) {
  for (const std::string names : {"rgb", "bgr", "rgba", "bgra", "argb", "abgr"}) {
    for (const std::string widths : {"5651", "8888", "1234", "4321"}) {
      Fields fields;
      for (int i = names.size() - 1; i >= 0; --i) {
        const int channel = std::string("rgba").find(names[i]), width = widths[i] - '0';
        fields.max[channel] = (1 << width) - 1;
        fields.shift[channel] = fields.depth;
        fields.depth += width;
      }
      EXPECT_EQ(text(fields), "depth " + std::to_string(fields.depth) + " (32 bpp) little-endian " +
                                  names + widths.substr(0, names.size()));
      for (int byte = 1; byte < (names.size() == 3 ? 15 : 16); ++byte) {
        const std::string other = byte == 2 ? " big-endian " : byte == 3 ? " colour-map" : " max ";
        EXPECT_NE(text(changed(fields, byte)).find(other), std::string::npos) << names << byte;
      }
    }
  }
  EXPECT_EQ(text(PixelFormat(255, 255, true, true, 65535, 65535, 65535, 255, 255, 255, 255, 65535)),
            "depth 255 (255 bpp) big-endian rgb max 65535,65535,65535 shift 255,255,255 alpha max "
            "65535 shift 255");
  char nearlyFull[128] = {};
  memset(nearlyFull, 'x', 120);
  PixelFormat().print(nearlyFull);
  EXPECT_EQ(nearlyFull, std::string(120, 'x') + "depth 8");
}

TEST(PixelFormat, parseTakesShortNamesOnly) {
  const std::pair<const char*, const char*> table[] = {
      {"BGR233", "depth 8 (8 bpp) bgr233"},
      {"rgb531", "depth 9 (16 bpp) little-endian rgb531"},
      {"bgr196", "depth 16 (16 bpp) little-endian bgr196"},
      {"rgb467", "depth 17 (32 bpp) little-endian rgb467"},
      {"rGb999", "depth 27 (32 bpp) little-endian rgb999"},
      {"PAL8", "depth 8 (8 bpp) colour-map"},
      {"pal1", "depth 1 (8 bpp) colour-map"}};
  for (const auto& [name, expected] : table) {
    PixelFormat pf = bigEndian(PixelFormat::bgr888());
    EXPECT_TRUE(pf.parse(name) && pf.isValid() && !pf.bigEndian) << name;
    EXPECT_EQ(text(pf), expected);
  }
  for (const char* name : {"pal9", "pal0", "pal", "pal8x", "rgb5650", "rgb056", "rgb506", "rgb560",
                           "rgb5:5", "rgb56", "xyz565", "", static_cast<const char*>(nullptr)}) {
    EXPECT_FALSE(PixelFormat().parse(name)) << (name ? name : "null");
  }
}

TEST(PixelFormat, wireFormKeepsOnlyAnAlphaThatDepthAccountsFor) {
  for (uint8_t depth = 0; depth < 20; ++depth) {
    for (uint8_t alphaMax : {0, 1, 15}) {
      uint8_t wire[] = {32, depth, 1, 1, 1, 1, 0, 7, 3, 0, 7, 8, 9, 10, 0, alphaMax};
      rdr::MemInStream cut(wire, 15), whole(wire, 16);
      PixelFormat read;
      EXPECT_THROW(read.read(cut), rdr::EndOfStream);
      EXPECT_TRUE(read == PixelFormat());
      read.read(whole);
      EXPECT_TRUE(read.bigEndian && read.redMax == 0x101 && read.greenShift == 8);
      if (depth != 2 + 3 + 2 + std::popcount(alphaMax) || alphaMax == 0) memset(wire + 13, 0, 3);
      rdr::MemOutStream written;
      read.write(written);
      EXPECT_EQ(memcmp(written.data(), wire, 16), 0) << +depth << " " << +alphaMax;
    }
  }
}
