#include "libs/rfbenc/XrleEncoder.h"

#include <gtest/gtest.h>

#include <random>

#include "libs/rfb/EncoderCallback.h"
#include "libs/rfbenc/XrleCallback.h"
#include "tests/pagefile/PageBuilder.h"
#include "tests/rfbenc/pictures.h"
#include "tests/support/streams.h"

using fakes::bytesOf;
using pictures::Decoder;
using pictures::Format;
using pictures::formats;
using pictures::Picture;
using rfb::Rect;

namespace {

// Writes down the hooks: ( [ . ] ) and the tile behind each [.
struct Hooks : rfb::XrleCallback {
  rfb::XrleEncoder* coder = nullptr;
  std::string log;
  bool want = true;

  void beginRow() override { log += "("; }
  void beginTile() override {
    const Rect& r = coder->currentTile();
    log += "[" + std::to_string(r.width()) + "x" + std::to_string(r.height());
  }
  bool wantTile() override { return want; }
  void endTile() override { log += "]"; }
  void endRow() override { log += ")"; }
};

struct Coder {
  explicit Coder(int tileSize = 64) : coder(&buffers, tileSize, false, true) {
    hooks.coder = &coder;
  }
  std::string encode(Picture& picture, const Rect& r) {
    rdr::MemOutStream out;
    coder.writeRect(r, &out, &picture, &hooks);
    return bytesOf(out);
  }

  rfb::EncoderCallback buffers;
  Hooks hooks;
  rfb::XrleEncoder coder;
};

// One tile, plainly and slowly.
std::string expectedTile(const std::vector<uint32_t>& pixels, int width, const Format& format) {
  std::vector<uint32_t> palette;
  // Counted colours, runs of one pixel, longer runs. Where 127 colours are known, every
  // further run counts as a colour.
  int n = 0, s = 0, r = 0;
  const int p = static_cast<int>(pixels.size()), c = format.cpixelSize;
  for (size_t i = 0, end; i < pixels.size(); i = end) {
    for (end = i; end < pixels.size() && pixels[end] == pixels[i];) ++end;
    if (n >= 127) {
      ++n;
    } else if (std::find(palette.begin(), palette.end(), pixels[i]) == palette.end()) {
      palette.push_back(pixels[i]);
      ++n;
    }
    ++(end == i + 1 ? s : r);
  }

  int subencoding = n == 1 ? 1 : 0;
  if (n > 1) {
    int best = p * c;
    if (best > (s + r) * (c + 1)) {
      best = (s + r) * (c + 1);
      subencoding = 128;
    }
    if (n <= 127 && best > s + 2 * r + n * c) {
      best = s + 2 * r + n * c;
      subencoding = 128 + n;
    }
    const int bits = n == 2 ? 1 : n <= 4 ? 2 : 4;
    if (n <= 16 && bits * p / 8 + n * c < best) subencoding = n;
  }
  return builder::tile(pixels, static_cast<size_t>(width), subencoding, palette,
                       {c, format.firstByte, 3});
}

std::string expectedRect(const Picture& picture, const Rect& r, int tileSize) {
  std::string bytes;
  for (const Rect& tile : Picture::tilesOf(r, tileSize)) {
    bytes += expectedTile(picture.pixelsOf(tile), tile.width(), picture.format);
  }
  return bytes;
}

// Different values for i < 128, 256 where the size allows; many share a bucket.
uint32_t colourNumber(int i, const Format& format) {
  const uint32_t n = static_cast<uint32_t>(i);
  if (format.size == 1) return n * 5 & 0xff;
  if (format.size == 2) return i < 64 ? n * 1025 : n;
  return i % 2 ? n * 1025 ^ 0x3ff : n * 0x01020305;
}

}  // namespace

TEST(XrleEncoder, everyColourCountAndRunLengthAgreesWithTheReference) {
  // clang-format off
  const std::vector<std::vector<int>> patterns{
      {1}, {2}, {3}, {255}, {256}, {257}, {511}, {64}, {1, 2, 3}, {2, 3, 1}, {30, 1, 1},
      {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 100}};
  // clang-format on
  const int sizes[][2] = {{1, 1}, {5, 3}, {63, 5}, {64, 64}, {65, 2}, {100, 70}};
  for (const Format& format : formats()) {
    std::set<int> seen;
    for (int colours : {1, 2, 3, 4, 5, 16, 17, 126, 127, 128}) {
      for (const std::vector<int>& lengths : patterns) {
        for (const auto& [w, h] : sizes) {
          std::vector<uint32_t> sequence;
          for (size_t run = 0; sequence.size() < 4096; ++run) {
            sequence.insert(sequence.end(), static_cast<size_t>(lengths[run % lengths.size()]),
                            colourNumber(static_cast<int>(run) % colours, format));
          }
          Picture picture(format, w, h);
          picture.fillTiles(64, [&](int i) { return sequence[static_cast<size_t>(i)]; });
          Coder coder;
          const std::string bytes = coder.encode(picture, picture.getRect());
          ASSERT_TRUE(bytes == expectedRect(picture, picture.getRect(), 64))
              << format.name << " " << colours << " " << lengths[0] << " " << w << "x" << h;
          Decoder decoder(format, w, h);
          ASSERT_EQ(decoder.decode(bytes, picture.getRect()), bytes.size());
          ASSERT_TRUE(decoder.shows(picture, picture.getRect()));
          seen.merge(decoder.subencodings);
        }
      }
    }
    for (int subencoding : {0, 1, 2, 3, 4, 5, 16, 128, 130, 131, 132, 133, 144, 145, 254}) {
      EXPECT_TRUE(seen.count(subencoding)) << format.name << " " << subencoding;
    }
  }
}

TEST(XrleEncoder, smallRandomTilesTieAsTheReferenceDoes) {
  std::mt19937 random(1);
  const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  for (const Format& format : formats()) {
    Coder coder(7);  // one for all, since each tile begins afresh
    for (int i = 0; i < 1500; ++i) {
      Picture picture(format, 1 + below(16), 1 + below(16));
      const int colours = 1 + below(20), stay = below(6);
      uint32_t pixel = 0;
      picture.fillTiles(64, [&](int) {
        if (below(6) >= stay) pixel = colourNumber(below(colours), format);
        return pixel;
      });
      const Rect& all = picture.getRect();
      const Rect r(below(all.br.x), below(all.br.y), all.br.x, all.br.y);
      ASSERT_TRUE(coder.encode(picture, r) == expectedRect(picture, r, 7)) << format.name << i;
    }
  }
}

TEST(XrleEncoder, fullPaletteTakesNoFurtherRunOfAnyColour) {
  // 126 colours again and again, then one more colour up to `lastRun` pixels before the end.
  for (const Format& format : formats()) {
    const auto subencoding = [&](int lastRun, int lastColour) {
      Picture picture(format, 64, 64);
      picture.fillTiles(64, [&](int i) {
        return colourNumber(i < 2000 ? i % 126 : i < 4096 - lastRun ? 126 : lastColour, format);
      });
      Coder coder;
      const std::string bytes = coder.encode(picture, picture.getRect());
      EXPECT_TRUE(bytes == expectedRect(picture, picture.getRect(), 64)) << format.name;
      return static_cast<uint8_t>(bytes[0]);
    };
    EXPECT_EQ(subencoding(0, 0), 255);
    EXPECT_EQ(subencoding(1, 127), 128);
    EXPECT_EQ(subencoding(1, 3), 128);
    EXPECT_EQ(subencoding(2000, 125), 128);
  }
}

TEST(XrleEncoder, hooksFollowTheTilesRowByRow) {
  Picture picture(formats()[0], 120, 90);
  Coder coder;
  EXPECT_NE(coder.encode(picture, Rect(20, 20, 120, 90)), "");
  EXPECT_EQ(coder.encode(picture, Rect(5, 5, 50, 5)), "");
  coder.hooks.want = false;
  EXPECT_EQ(coder.encode(picture, Rect(1, 1, 2, 2)), "");
  EXPECT_EQ(coder.hooks.log, "([64x64][36x64])([64x6][36x6])([1x1])");
}

TEST(XrleEncoder, variantFollowsTheChannelsAndTheByteOrder) {
  using rfb::XrleVariant;
  const auto format = [](bool bigEndian, int max, int red, int green, int blue, int alphaMax = 0) {
    return rfb::PixelFormat(32, 24, bigEndian, true, max, max, max, red, green, blue, 0, alphaMax);
  };
  const std::pair<rfb::PixelFormat, XrleVariant> table[] = {
      {format(true, 255, 16, 8, 0), XrleVariant::trailing24},
      {format(true, 255, 24, 16, 8), XrleVariant::leading24},
      {format(true, 255, 24, 16, 8, 255), XrleVariant::pixel32},
      {format(false, 1023, 20, 10, 0), XrleVariant::pixel32},
      // Only the middle of the pixel is used.
      {format(false, 15, 16, 12, 8), XrleVariant::leading24},
      {format(true, 15, 16, 12, 8), XrleVariant::leading24},
      {rfb::PixelFormat::colourMap8(), XrleVariant::pixel8}};
  for (const auto& row : table) {
    EXPECT_EQ(rfb::xrleVariant(row.first), row.second) << &row - table;
  }
  EXPECT_FALSE(rfb::xrleVariant(rfb::PixelFormat(24, 24, false, true, 255, 255, 255, 16, 8, 0)));
}
