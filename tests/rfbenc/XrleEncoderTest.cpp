#include "libs/rfbenc/XrleEncoder.h"

#include <gtest/gtest.h>

#include <set>

#include "libs/rfb/EncoderCallback.h"
#include "libs/rfbenc/XrleCallback.h"
#include "tests/rfbenc/pictures.h"
#include "tests/support/streams.h"

using pictures::formats;
using pictures::Picture;
using rfb::Rect;
using rfb::XrleVariant;

namespace {

// Writes down the hooks: ( [ . ] ) and the tile behind each [.
struct Coder : rfb::XrleCallback {
  explicit Coder(int tileSize) : coder(&buffers, tileSize, false, true) {}
  std::string encode(Picture& picture, const Rect& r) {
    rdr::MemOutStream out;
    coder.writeRect(r, &out, &picture, this);
    return fakes::bytesOf(out);
  }

  void beginRow() override { log += "("; }
  void beginTile() override { log += std::string("[") + rfb::RectText(coder.currentTile()).text; }
  bool wantTile() override { return want; }
  void endTile() override { log += "]"; }
  void endRow() override { log += ")"; }

  std::string log;
  bool want = true;
  rfb::EncoderCallback buffers;
  rfb::XrleEncoder coder;
};

// Different values for i < 128, 256 where the size allows; many share a bucket.
uint32_t colourNumber(uint32_t i, int bpp) {
  if (bpp == 8) return i * 5 & 0xff;
  return bpp == 16 || i % 2 ? i * 1025 ^ 0x3ff : i * 0x01020305;
}

}  // namespace

TEST(XrleEncoder, randomPicturesAgreeWithTheReference) {
  pictures::Random random;
  const auto oneOf = [&](const std::vector<int>& all) { return all[random.below(all.size())]; };
  for (const auto& format : formats) {
    std::set<int> seen;
    Coder coders[] = {Coder(7), Coder(64)};  // used again, since each tile begins afresh
    for (int i = 0; i < 4000; ++i) {
      const int w = oneOf({1 + random.below(16), 64, 65 + random.below(60)});
      const int h = oneOf({5, 16, 64}), size = w * h;
      const int colours = oneOf({1 + random.below(20), 2, 16, 17, 126, 127, 128});
      const int runLength = oneOf({1, 2, 3, 4, 30, 300}), order = random.below(3);
      const int lastPixel = random.below(colours);
      int run = 0, index = 0;
      Picture picture(format, w, h, [&](int at) {
        if (random.below(runLength) == 0) {
          // In turns, or the last one in the second half alone, or at random.
          const int others = order == 0 ? colours : std::max(1, colours - 1);
          index = order == 2 ? random.below(colours) : run++ % others;
          if (order == 1 && at > size / 2) index = colours - 1;
        }
        return colourNumber(i % 2 && at == size - 1 ? lastPixel : index, format.pf.bpp);
      });
      const bool large = random.below(2);
      const Rect r(random.below(std::min(w, 8)), random.below(h), w, h);
      const std::string bytes = coders[large].encode(picture, r);
      ASSERT_TRUE(bytes == tileData(picture, r, large ? 64 : 7)) << format.pf.bpp << " " << i;
      if (!bytes.empty()) seen.insert(static_cast<uint8_t>(bytes[0]));
    }
    for (int subencoding : {0, 1, 2, 3, 4, 5, 16, 128, 130, 144, 145, 254, 255}) {
      EXPECT_EQ(seen.count(subencoding), format.cpixelSize > 0) << subencoding;
    }
  }
}

TEST(XrleEncoder, bytesOfATileAreThese) {
  using namespace std::string_literals;
  const std::tuple<int, std::string, std::string> table[] = {
      {5, "aaaaaaaaaa", "\1a"},
      {2, "abcdefgh", "\0abcdefgh"s},
      {5, "abcaabbbbc", "\3abc\x18\0\x55\x80"s},  // two bytes a row
      {4, "aaaabbbbbbbbcccccccc", "\x80\x61\3b\7c\7"},
      {1, std::string(300, 'a') + "bcbcbcaac", "\x83\x61\x62\x63\x80\xff\x2c\1\2\1\2\1\2\0\0\2"s}};
  for (const auto& [width, pixels, expected] : table) {
    Picture picture(formats[0], width, pixels.size() / width, [&](int i) { return pixels[i]; });
    EXPECT_EQ(Coder(309).encode(picture, picture.getRect()), expected) << pixels;
  }
}

TEST(XrleEncoder, hooksFollowTheTilesRowByRow) {
  Picture picture(formats[0], 120, 90, [](int) { return 0; });
  Coder coder(64);
  EXPECT_NE(coder.encode(picture, Rect(20, 20, 120, 90)), "");
  coder.want = false;
  EXPECT_EQ(coder.encode(picture, Rect(1, 1, 2, 2)), "");
  EXPECT_EQ(coder.log,
            "([20,20 to 84,84][84,20 to 120,84])([20,84 to 84,90][84,84 to 120,90])"
            "([1,1 to 2,2])");
}

TEST(XrleEncoder, variantFollowsTheBytesThatChannelsUse) {
  pictures::Random random;
  for (int i = 0; i < 2000; ++i) {
    const int max = (1 << random.below(9)) - 1, alphaMax = max * random.below(2);
    const int r = random.below(24), g = random.below(24), b = random.below(24);
    const bool big = random.below(2);
    const rfb::PixelFormat pf(8 + 8 * (i % 4), 8, big, true, max, max, max, r, g, b, 16, alphaMax);
    const uint32_t mask = max << r | max << g | max << b | alphaMax << 16;
    const bool first = mask << (big ? 0 : 24) >> 24, last = mask << (big ? 24 : 0) >> 24;
    std::optional<XrleVariant> expected[4] = {XrleVariant::pixel8, XrleVariant::pixel16, {}};
    if (!first) expected[3] = XrleVariant::trailing24;
    if (first && last) expected[3] = XrleVariant::pixel32;
    if (!last) expected[3] = XrleVariant::leading24;
    EXPECT_EQ(rfb::xrleVariant(pf), expected[i % 4]) << i;
  }
}
