#include "libs/rfbenc/XrleEncoder.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

#include "libs/rfb/EncoderCallback.h"
#include "libs/rfbenc/XrleCallback.h"
#include "tests/rfbenc/pictures.h"
#include "tests/support/streams.h"

using fakes::bytesOf;
using pictures::cpixel;
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
  explicit Coder(int tileSize = 64) : coder(&buffers, &hooks, tileSize, false, true) {
    hooks.coder = &coder;
  }
  std::string encode(Picture& picture, const Rect& r) {
    rdr::MemOutStream out;
    coder.writeRect(r, &out, &picture);
    return bytesOf(out);
  }

  rfb::EncoderCallback buffers;
  Hooks hooks;
  rfb::XrleEncoder coder;
};

void appendCPixel(std::string& bytes, uint32_t pixel, const Format& format) {
  const uint32_t value = cpixel(pixel, format);
  bytes.append(reinterpret_cast<const char*>(&value), static_cast<size_t>(format.cpixelSize));
}

void appendRunLength(std::string& bytes, int length) {
  int rest = length - 1;
  while (rest > 254) {
    bytes += '\xff';
    rest -= 255;
  }
  bytes += static_cast<char>(rest);
}

// One tile, plainly and slowly.
std::string expectedTile(const std::vector<uint32_t>& pixels, int width, const Format& format) {
  struct Run {
    int index;
    uint32_t value;
    int length;
  };
  std::vector<Run> runs;
  std::vector<uint32_t> colours;
  std::map<uint32_t, int> indexes;
  int n = 0, s = 0, r = 0;
  const int p = static_cast<int>(pixels.size()), c = format.cpixelSize;
  for (size_t i = 0; i < pixels.size();) {
    size_t end = i;
    while (end < pixels.size() && pixels[end] == pixels[i]) ++end;
    Run run{0xff, pixels[i], static_cast<int>(end - i)};
    if (n >= 127) {
      ++n;
    } else {
      const auto [found, isNew] = indexes.emplace(pixels[i], n);
      run.index = found->second;
      if (isNew) {
        colours.push_back(pixels[i]);
        ++n;
      }
    }
    ++(run.length == 1 ? s : r);
    runs.push_back(run);
    i = end;
  }

  const int bits = n == 2 ? 1 : n <= 4 ? 2 : 4;
  int subencoding;
  if (n == 1) {
    subencoding = 1;
  } else {
    int best = p * c;
    bool palette = false, runLength = false;
    if (best > (s + r) * (c + 1)) {
      best = (s + r) * (c + 1);
      runLength = true;
    }
    if (n <= 127 && best > s + 2 * r + n * c) {
      best = s + 2 * r + n * c;
      palette = runLength = true;
    }
    if (n <= 16 && bits * p / 8 + n * c < best) {
      palette = true;
      runLength = false;
    }
    subencoding = (runLength ? 128 : 0) + (palette ? n : 0);
  }

  std::string bytes(1, static_cast<char>(subencoding));
  if (subencoding == 0) {
    for (uint32_t pixel : pixels) appendCPixel(bytes, pixel, format);
  } else if (subencoding == 128) {
    for (const Run& run : runs) {
      appendCPixel(bytes, run.value, format);
      appendRunLength(bytes, run.length);
    }
  } else {
    for (uint32_t colour : colours) appendCPixel(bytes, colour, format);
  }
  if (subencoding > 128) {
    for (const Run& run : runs) {
      if (run.length < 3) {
        bytes.append(static_cast<size_t>(run.length), static_cast<char>(run.index));
      } else {
        bytes += static_cast<char>(run.index | 0x80);
        appendRunLength(bytes, run.length);
      }
    }
  } else if (subencoding >= 2 && subencoding <= 16) {
    for (size_t i = 0; i < pixels.size(); i += static_cast<size_t>(width)) {
      int byte = 0, filled = 0;
      for (size_t x = 0; x < static_cast<size_t>(width); ++x) {
        byte |= indexes.at(pixels[i + x]) << (8 - bits - filled);
        filled += bits;
        if (filled == 8) {
          bytes += static_cast<char>(byte);
          byte = filled = 0;
        }
      }
      if (filled) bytes += static_cast<char>(byte);
    }
  }
  return bytes;
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

std::string hexDigits(const std::string& bytes) {
  std::string hex;
  for (char byte : bytes) {
    char digits[4];
    snprintf(digits, sizeof digits, "%02x ", static_cast<uint8_t>(byte));
    hex += digits;
  }
  return hex;
}

}  // namespace

TEST(XrleEncoder, everyColourCountAndRunLengthAgreesWithTheReference) {
  const std::vector<std::vector<int>> patterns{
      {1},       {2},       {3},  {255},     {256},
      {257},     {511},     {64}, {1, 2, 3}, {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 100},
      {2, 3, 1}, {30, 1, 1}};
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
      ASSERT_EQ(hexDigits(coder.encode(picture, r)), hexDigits(expectedRect(picture, r, 7)));
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
      EXPECT_EQ(hexDigits(bytes), hexDigits(expectedRect(picture, picture.getRect(), 64)));
      return static_cast<uint8_t>(bytes[0]);
    };
    EXPECT_EQ(subencoding(0, 0), 255);
    EXPECT_EQ(subencoding(1, 127), 128);
    EXPECT_EQ(subencoding(1, 3), 128);
    EXPECT_EQ(subencoding(2000, 125), 128);
  }
}

TEST(XrleEncoder, tilesAreWrittenAsTheirBytesShow) {
  const std::string manySame(4095, 'a');
  struct {
    int w;
    std::string pixels;
    std::string bytes;
  } table[] = {
      // Three colours in rows of 5 pixels: 2 bytes a row.
      {5,
       "abcab"
       "cabca"
       "bcabc"
       "abcab",
       "03 61 62 63 18 40 86 00 61 80 18 40 "},
      {4,
       "aabb"
       "aabb",
       "02 61 62 30 30 "},
      {64, manySame + "b", "80 61 ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff 0e 62 00 "},
      {64, std::string(4096, 'a'), "01 61 "},
      // A run of exactly 2 is its index twice.
      {16, "abababababcc" + std::string(244, 'd'),
       "84 61 62 63 64 00 01 00 01 00 01 00 01 00 01 02 02 83 f3 "},
  };
  for (const auto& row : table) {
    Picture picture(formats()[0], row.w, static_cast<int>(row.pixels.size()) / row.w);
    picture.fillTiles(64, [&](int i) { return row.pixels[static_cast<size_t>(i)]; });
    Coder coder;
    EXPECT_EQ(hexDigits(coder.encode(picture, picture.getRect())), row.bytes);
  }
}

TEST(XrleEncoder, hooksFollowTheTilesRowByRow) {
  Picture picture(formats()[0], 120, 90);
  Coder coder;
  EXPECT_NE(coder.encode(picture, Rect(20, 20, 120, 90)), "");
  EXPECT_EQ(coder.hooks.log, "([64x64][36x64])([64x6][36x6])");
  coder.hooks.log.clear();
  coder.hooks.want = false;
  EXPECT_EQ(coder.encode(picture, Rect(1, 1, 2, 2)), "");
  EXPECT_EQ(coder.hooks.log, "([1x1])");
  coder.hooks.log.clear();
  coder.hooks.want = true;
  EXPECT_EQ(coder.encode(picture, Rect(5, 5, 50, 5)), "");
  Format rgb24{"24", rfb::PixelFormat(24, 24, false, true, 255, 255, 255, 16, 8, 0), 3, 3, 0};
  Picture none(rgb24, 100, 100);
  EXPECT_EQ(coder.encode(none, none.getRect()), "");
  EXPECT_EQ(coder.hooks.log, "");
}

TEST(XrleEncoder, variantFollowsTheChannelsAndTheByteOrder) {
  using rfb::XrleVariant;
  const auto format = [](bool bigEndian, int max, int red, int green, int blue, int alpha = -1) {
    return rfb::PixelFormat(32, 24, bigEndian, true, max, max, max, red, green, blue,
                            alpha < 0 ? 0 : alpha, alpha < 0 ? 0 : 255);
  };
  const std::pair<rfb::PixelFormat, XrleVariant> table[] = {
      {format(false, 255, 16, 8, 0), XrleVariant::leading24},
      {format(false, 255, 24, 16, 8), XrleVariant::trailing24},
      {format(true, 255, 16, 8, 0), XrleVariant::trailing24},
      {format(true, 255, 24, 16, 8), XrleVariant::leading24},
      {format(false, 255, 16, 8, 0, 24), XrleVariant::pixel32},
      {format(true, 255, 24, 16, 8, 0), XrleVariant::pixel32},
      {format(false, 1023, 20, 10, 0), XrleVariant::pixel32},
      // Only the middle of the pixel is used.
      {format(false, 15, 16, 12, 8), XrleVariant::leading24},
      {format(true, 15, 16, 12, 8), XrleVariant::leading24},
      {format(true, 0, 0, 0, 0), XrleVariant::leading24},
      {rfb::PixelFormat::colourMap8(), XrleVariant::pixel8},
      {rfb::PixelFormat::rgb555(), XrleVariant::pixel16},
  };
  for (const auto& [pf, variant] : table) {
    char text[128] = "";
    pf.print(text);
    EXPECT_EQ(rfb::xrleVariant(pf), variant) << text;
  }
}
