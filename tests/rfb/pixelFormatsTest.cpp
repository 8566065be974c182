#include "base/rfb/TransPixelBuffer.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstring>
#include <random>

#include "base/rfb/ManagedPixelBuffer.h"
#include "base/rfb/byteOrderOps.h"
#include "tests/support/thrownBy.h"

using rfb::Colour;
using rfb::PixelFormat;
using rfb::Rect;
using rfb::TransPixelBuffer;

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

// A channel's value as one of another maximum, which is odd or 0: there are no ties.
uint32_t nearest(uint64_t value, uint32_t max, uint32_t newMax) {
  return max ? static_cast<uint32_t>((2 * value * newMax + max) / (2 * max)) : 0;
}

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

struct RandomMap : rfb::ColourMapRW {
  explicit RandomMap(int newCount) : count(newCount) {
    std::mt19937 random(newCount);
    for (Colour& c : entries) c = {int(random() % 256), int(random() % 256), int(random() % 256)};
  }
  void getColour(int index, Colour* c) const override {
    ++reads;
    if (index >= 0 && index < 256) *c = entries[index];
  }
  int size() const override { return count; }
  void setColour(int index, const Colour& c) override { entries[index] = c; }

  int count;
  Colour entries[256];
  mutable int reads = 0;
};

// Random pixels.
struct Source : rfb::ManagedPixelBuffer {
  Source(const PixelFormat& newPF, int x, rfb::ColourMap* map)
      : ManagedPixelBuffer(newPF, Rect(x, 2, x + 30 + x % 7, 7), map) {
    std::mt19937 random;
    for (int i = 0; i < width() * 5; ++i) setPixel(x + i % width(), 2 + i / width(), random());
  }
  void grabRegion(const rfb::Region& region) override { grabbed = region.extents(); }

  rfb::RgnRect grabbed;
};

uint32_t expectedPixel(uint32_t in, const PixelFormat& inPF, const rfb::ColourMap* inMap,
                       const TransPixelBuffer& trans, bool perChannel16, const PixelFormat* limit) {
  const PixelFormat& outPF = trans.getPF();
  const rfb::ColourMap* outMap = trans.getColourMap();
  if (!outPF.trueColour && !outMap) return inPF.bpp == outPF.bpp ? in : 0;
  uint32_t out = 0;
  if (inPF.trueColour && outPF.trueColour && inPF.bpp > (perChannel16 ? 8 : 16)) {
    // Rounded once.
    const auto from = std::bit_cast<Fields>(inPF), to = std::bit_cast<Fields>(outPF);
    const auto middle = limit ? std::bit_cast<Fields>(*limit) : from;
    for (int i = 0; i < 3; ++i) {
      const uint32_t value = inPF.storedPixel(in) >> (from.shift[i] & 31) & from.max[i];
      const uint32_t reduced = nearest(value, from.max[i], middle.max[i]);
      out |= nearest(reduced, middle.max[i], to.max[i]) << (to.shift[i] & 31);
    }
  } else {
    if (!inPF.trueColour) in = inPF.storedPixel(inPF.storedPixel(in) & ((1u << inPF.depth) - 1));
    Colour c;
    inPF.rgbFromPixel(in, &c, inMap);
    if (limit) limit->rgbFromPixel(limit->pixelFromRGB(c, nullptr), &c, nullptr);
    out = outPF.pixelFromRGB(c, outMap);
  }
  return outPF.storedPixel(out);
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

TEST(TransPixelBuffer, anySequenceOfSettingsConvertsColourByColour) {
  RandomMap inMap(256), outMap(9);
  rfb::ColorCubeOrth outCube(5, 7, 6);
  std::vector<std::unique_ptr<Source>> sources;
  const auto addSource = [&](const PixelFormat& pf) {
    const bool hasMap = !pf.trueColour;
    sources.push_back(std::make_unique<Source>(pf, sources.size(), hasMap ? &inMap : nullptr));
  };
  for (const char* name :
       {"bgr233", "rgb222", "rgb565", "rgb888", "bgr888", "rgb999", "pal8", "pal3"}) {
    PixelFormat pf;
    pf.parse(name);
    addSource(pf);
    addSource(bigEndian(pf));
    pf.bpp = pf.bpp == 32 ? 24 : 32;  // too small for rgb999
    addSource(pf);
    addSource(bigEndian(pf));
  }
  for (const PixelFormat& pf : {PixelFormat(16, 8, true, false, 0, 0, 0, 0, 0, 0),
                                PixelFormat(32, 24, true, true, 255, 255, 255, 24, 16, 8),
                                PixelFormat(32, 16, false, true, 0, 255, 255, 32, 8, 0),
                                PixelFormat::argb8888(), PixelFormat::nativeABGR8888()})
    addSource(pf);
  std::mt19937 random;
  for (bool perChannel16 : {false, true}) {
    TransPixelBuffer trans(perChannel16);
    Source* source = sources[0].get();
    const PixelFormat* limit = nullptr;
    trans.setSource(source);
    for (int step = 0; step < 2500; ++step) {
      const PixelFormat oldPF = trans.getPF(), newPF = sources[random() % sources.size()]->getPF();
      Source* newSource = sources[random() % sources.size()].get();
      rfb::ColourMap* maps[] = {nullptr, &outMap, &outCube};
      const int setting = random() % 6, reads = inMap.reads, choice = random() % 3;
      const PixelFormat* newLimit = choice ? nullptr : &PixelFormat::rgb222();
      const std::string error = fakes::thrownBy([&] {
        if (setting < 2) trans.setSource(newSource);
        if (setting == 2) trans.setColourMap(maps[choice]);
        if (setting == 3) trans.setLimitingFormat(newLimit);
        if (setting > 3) trans.setPF(newPF);
      });
      const PixelFormat oldIn = source->getPF(), in = setting < 2 ? newSource->getPF() : oldIn;
      const PixelFormat out = setting > 3 ? newPF : oldPF;
      const bool accepted = error.empty(), isValid = in.isValid() && out.isValid();
      const char* failed = isValid ? "'inPF.isN" : in.isValid() ? "'pf.isV" : "'inPF.isV";
      ASSERT_TRUE(accepted ? isValid : error.find(failed) != std::string::npos) << error;
      ASSERT_TRUE(accepted || !isValid || !in.isNativeEndian());
      // What stays the same is not set up again.
      EXPECT_TRUE(!(in == oldIn && out == oldPF) || setting / 2 == 1 || inMap.reads == reads);
      if (accepted && setting < 2) source = newSource;
      if (accepted && setting == 3) limit = newLimit;
      trans.grabAll();
      EXPECT_EQ(source->grabbed, rfb::RgnRect(source->getRect()));
      ASSERT_TRUE(trans.getPF() == (accepted ? out : oldPF));

      const Rect r(trans.getRect().tl.x + random() % 9, 2 + random() % 3, trans.getRect().br.x, 7);
      int stride = 0;
      uint8_t image[40 * 5 * 4], *pixels = const_cast<uint8_t*>(trans.getPixelsR(r, &stride));
      trans.getImage(image, r, step % 2 * 40);
      rfb::FullFramePixelBuffer read(trans.getPF(), r, nullptr, pixels, stride);
      rfb::FullFramePixelBuffer copied(trans.getPF(), r, nullptr, image, step % 2 * 40);
      // Alpha is carried along where nothing but the layout changes, unused bits perhaps.
      const PixelFormat &inPF = source->getPF(), &pf = trans.getPF();
      const uint32_t alpha = inPF.alphaMax && pf.alphaMax && !limit ? 0xff000000 : 0;
      const uint32_t colours = pf.storedPixel(pf.pixelFromRGB({255, 255, 255}, nullptr));
      const uint32_t mask = pf.trueColour ? colours | alpha : ~0u;
      for (int y = r.tl.y; y < r.br.y; ++y) {
        for (int x = r.tl.x; x < r.br.x; ++x) {
          const uint32_t pixel = source->getPixel(x, y);
          const uint32_t expected =
              expectedPixel(pixel, inPF, &inMap, trans, perChannel16, limit) | (pixel & alpha);
          ASSERT_EQ(read.getPixel(x, y) & mask, expected & mask)
              << text(inPF) << " to " << text(pf);
          ASSERT_EQ(copied.getPixel(x, y), read.getPixel(x, y));
        }
      }
    }
  }
}

TEST(TransPixelBuffer, ownCubeIsTheLargestThatTheDepthHolds) {
  Source source(PixelFormat::rgb888(), 0, nullptr);
  TransPixelBuffer trans(false);
  trans.setSource(&source);
  std::string sizes;
  for (int depth = 1; depth <= 8; ++depth) {
    trans.setPF(PixelFormat(8, depth, false, false, 0, 0, 0, 0, 0, 0));
    sizes += std::to_string(trans.getColourMap()->size()) + " ";
  }
  EXPECT_EQ(sizes, "0 1 8 8 27 64 125 216 ");
  trans.setSource(nullptr);
  EXPECT_EQ(trans.getRect(), Rect());
}

TEST(TransPixelBuffer, bigEndianSourceOfWholeBytesChangesItsLayoutAlone) {
  const auto rgb = [](int bpp, int red) {
    return PixelFormat(bpp, 24, false, true, 255, 255, 255, red, red - 8, red - 16);
  };
  for (const auto& [in, out] : {std::pair(rgb(32, 24), rgb(24, 16)),
                                {rgb(24, 16), rgb(32, 16)},
                                {rgb(32, 24), rgb(32, 16)}}) {
    Source source(bigEndian(in), 0, nullptr);
    TransPixelBuffer trans(false);
    trans.setPF(out);
    EXPECT_EQ(fakes::thrownBy([&] { trans.setSource(&source); }), "") << text(in);
  }
}

TEST(ColourMap, lookupTakesFirstOfTheNearestAndCopyFromSetsAllEntriesOfAnother) {
  RandomMap map(256), former = map;
  map.copyFrom(rfb::ColorCubeOrth(2, 2, 2));
  EXPECT_TRUE(map.entries[7] == Colour(255, 255, 255) && map.entries[8] == former.entries[8]);
  map.entries[0] = {10, 10, 10};
  map.entries[100] = map.entries[200] = {0, 0, 0};
  EXPECT_EQ(map.lookup({5, 5, 5}), 0);
  EXPECT_EQ(map.lookup({4, 4, 4}), 100);
  map.count = 0;
  EXPECT_EQ(map.lookup({1, 2, 3}), 0);
}

TEST(expand24To32, everyWidthAndAddressTouchesTheRowOnly) {
  for (const rfb::Expand24To32& version : rfb::usableExpand24To32()) {
    for (int i = 0; i < 71 * 12; ++i) {
      // Memory of just the length, so that a sanitizer sees a byte too many.
      const int pixels = i / 12, gap = i % 4, outGap = i % 3;
      std::vector<uint8_t> in(gap + pixels * 3), out(outGap + pixels * 4 + 64, 0xa5);
      for (size_t at = 0; at < in.size(); ++at) in[at] = static_cast<uint8_t>(at * 7 + 1);
      std::vector<uint8_t> expected = out;
      for (int at = 0; at < pixels * 4; ++at)
        expected[outGap + at] = at % 4 < 3 ? in[gap + at / 4 * 3 + 2 - at % 4] : 0;
      version.convert(in.data() + gap, out.data() + outGap, pixels);
      ASSERT_EQ(out, expected) << version.name << i;
    }
  }
}
