#include "base/rfb/TransPixelBuffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "base/rfb/ManagedPixelBuffer.h"
#include "tests/rfb/formats.h"
#include "tests/support/streams.h"

using fakes::thrownBy;
using formats::bigEndian;
using formats::text;
using rfb::Colour;
using rfb::FullFramePixelBuffer;
using rfb::PixelFormat;
using rfb::Rect;
using rfb::TransPixelBuffer;

namespace {

// Three bytes red, green, blue in memory.
const PixelFormat kPage(24, 24, false, true, 255, 255, 255, 0, 8, 16);

class RandomMap : public rfb::ColourMapRW {
 public:
  explicit RandomMap(unsigned seed, int newCount = 256) : count(newCount) {
    std::mt19937 random(seed);
    const auto channel = [&] { return static_cast<int>(random() % 256); };
    for (Colour& c : entries) c = {channel(), channel(), channel()};
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

constexpr int kWidth = 37, kHeight = 5, kStride = 41;

// Random pixels in exactly the memory that they need.
struct Source {
  Source(const PixelFormat& pf, rfb::ColourMap* map, unsigned seed = 1)
      : bytes(static_cast<size_t>((kStride * (kHeight - 1) + kWidth) * pf.bpp / 8)),
        buffer(pf, Rect(0, 0, kWidth, kHeight), map, bytes.data(), kStride) {
    std::mt19937 random(seed);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
  }

  std::vector<uint8_t> bytes;
  FullFramePixelBuffer buffer;
};

uint32_t reversedBytes(uint32_t pixel, int bpp) {
  uint32_t reversed = 0;
  for (int i = 0; i < bpp; i += 8) reversed = reversed << 8 | (pixel >> i & 0xff);
  return reversed;
}

unsigned nearest(unsigned value, unsigned max, unsigned newMax) {
  return max ? (2 * value * newMax + max) / (2 * max) : 0;
}

// What one channel becomes when it is scaled in one step, as wide sources are.
uint32_t channel(uint32_t pixel, const PixelFormat& inPF, const PixelFormat& outPF,
                 const PixelFormat* limit, decltype(&PixelFormat::redMax) maxOf,
                 decltype(&PixelFormat::redShift) shiftOf) {
  unsigned max = inPF.*maxOf;
  unsigned value = max ? pixel >> inPF.*shiftOf & max : 0;
  if (limit) {
    value = nearest(value, max, limit->*maxOf);
    max = limit->*maxOf;
  }
  return outPF.*maxOf ? nearest(value, max, outPF.*maxOf) << outPF.*shiftOf : 0;
}

uint32_t expectedPixel(uint32_t in, const PixelFormat& inPF, const rfb::ColourMap* inMap,
                       const PixelFormat& outPF, const rfb::ColourMap* outMap, bool perChannel16,
                       const PixelFormat* limit) {
  uint32_t out;
  bool oneStep =
      inPF.trueColour && outPF.trueColour && (inPF.bpp > 16 || (inPF.bpp == 16 && perChannel16));
  if (oneStep) {
    using F = PixelFormat;
    out = channel(in, inPF, outPF, limit, &F::redMax, &F::redShift) |
          channel(in, inPF, outPF, limit, &F::greenMax, &F::greenShift) |
          channel(in, inPF, outPF, limit, &F::blueMax, &F::blueShift);
  } else {
    if (!inPF.trueColour) in = inPF.storedPixel(inPF.storedPixel(in) & ((1u << inPF.depth) - 1));
    Colour c;
    inPF.rgbFromPixel(in, &c, inMap);
    if (limit) limit->rgbFromPixel(limit->pixelFromRGB(c, nullptr), &c, nullptr);
    out = outPF.pixelFromRGB(c, outMap);
  }
  return outPF.bigEndian && outPF.bpp > 8 ? reversedBytes(out, outPF.bpp) : out;
}

void expectTranslated(TransPixelBuffer& trans, const Source& source, rfb::ColourMap* inMap,
                      bool perChannel16, const PixelFormat* limit) {
  const PixelFormat& outPF = trans.getPF();
  int outBytes = outPF.bpp / 8;
  // The swap of bytes carries alpha and unused bits along, tables clear them.
  uint32_t meaningful = 0xffffffff;
  if (outPF.bpp == 32 && outPF.trueColour && source.buffer.getPF().bpp == 32) {
    meaningful = outPF.storedPixel(outPF.pixelFromRGB({255, 255, 255}, nullptr));
  }
  Rect r(3, 1, 36, kHeight);
  int stride = 0;
  const uint8_t* pixels = trans.getPixelsR(r, &stride);
  std::vector<uint8_t> image(static_cast<size_t>((r.height() - 1) * 35 + r.width()) * outBytes);
  trans.getImage(image.data(), r, 35);
  for (int y = r.tl.y; y < r.br.y; ++y) {
    for (int x = r.tl.x; x < r.br.x; ++x) {
      uint32_t in = source.buffer.getPixel(x, y);
      uint32_t expected = expectedPixel(in, source.buffer.getPF(), inMap, outPF,
                                        trans.getColourMap(), perChannel16, limit);
      uint32_t read = 0, copied = 0;
      memcpy(&read, pixels + ((y - r.tl.y) * stride + x - r.tl.x) * outBytes, outBytes);
      memcpy(&copied, image.data() + ((y - r.tl.y) * 35 + x - r.tl.x) * outBytes, outBytes);
      ASSERT_EQ(read & meaningful, expected) << "pixel " << in;
      ASSERT_EQ(copied, read) << "pixel " << in;
    }
  }
}

}  // namespace

TEST(TransPixelBuffer, everyPairOfFormatsConvertsColourByColour) {
  PixelFormat map16(16, 8, true, false, 0, 0, 0, 0, 0, 0),
      map32(32, 5, false, false, 0, 0, 0, 0, 0, 0);
  PixelFormat map4(8, 4, false, false, 0, 0, 0, 0, 0, 0),
      map1(8, 1, false, false, 0, 0, 0, 0, 0, 0);
  PixelFormat reversedPage(24, 24, false, true, 255, 255, 255, 16, 8, 0);
  PixelFormat deep(32, 30, false, true, 1023, 1023, 1023, 20, 10, 0);
  PixelFormat noRed(32, 16, false, true, 0, 255, 255, 32, 8, 0);
  // clang-format off
  std::vector<PixelFormat> sources{
      PixelFormat(), PixelFormat::rgb222(), PixelFormat::rgb111(), PixelFormat::rgb565(),
      bigEndian(PixelFormat::rgb565()), PixelFormat::rgb888(), PixelFormat::bgr888(),
      PixelFormat::argb8888(), kPage, reversedPage, deep, noRed, PixelFormat::colourMap8(), map4,
      map16, map32};
  // clang-format on
  std::vector<PixelFormat> outputs = sources;
  for (const PixelFormat& pf : {PixelFormat::rgb888(), kPage, PixelFormat::rgb555()}) {
    outputs.push_back(bigEndian(pf));
  }
  outputs.push_back(map1);
  RandomMap inMap(1), outMap(2, 9);
  rfb::ColorCubeOrth outCube(5, 7, 6);
  for (const PixelFormat& inPF : sources) {
    Source source(inPF, inPF.trueColour ? nullptr : &inMap);
    for (const PixelFormat& outPF : outputs) {
      SCOPED_TRACE(text(inPF) + " to " + text(outPF));
      bool sameBytes = inPF == outPF && inPF.trueColour;
      for (bool perChannel16 : {false, true}) {
        // Big-endian sources have no such tables.
        if (perChannel16 && (inPF.bpp != 16 || inPF.bigEndian)) continue;
        std::vector<rfb::ColourMap*> maps{nullptr};
        if (!outPF.trueColour) maps = {&outMap, &outCube};
        if (!outPF.trueColour && inPF.trueColour) maps.push_back(nullptr);
        for (rfb::ColourMap* map : maps) {
          for (const PixelFormat* limit :
               {static_cast<const PixelFormat*>(nullptr), &PixelFormat::rgb222()}) {
            if (sameBytes && (!limit || limit->depth >= outPF.depth)) continue;
            TransPixelBuffer trans(perChannel16);
            trans.setLimitingFormat(limit);
            trans.setColourMap(map);
            trans.setPF(outPF);
            trans.setSource(&source.buffer);
            expectTranslated(trans, source, &inMap, perChannel16, limit);
            // The buffer's own cube fits into the indexes.
            if (!map && !outPF.trueColour) {
              ASSERT_LE(trans.getColourMap()->size(), 1 << outPF.depth);
            }
            if (HasFatalFailure()) return;
          }
        }
      }
    }
  }
}

TEST(TransPixelBuffer, byteLayoutChangesCarryAlphaAlong) {
  const std::pair<PixelFormat, PixelFormat> table[] = {
      {PixelFormat::nativeARGB8888(), PixelFormat::nativeABGR8888()},
      {PixelFormat(32, 24, true, true, 255, 255, 255, 24, 16, 8), PixelFormat::rgb888()}};
  for (const auto& [in, out] : table) {
    std::vector<uint8_t> from{1, 2, 3, 4}, to(4);
    FullFramePixelBuffer source(in, Rect(0, 0, 1, 1), nullptr, from.data(), 0);
    TransPixelBuffer trans(false);
    trans.setPF(out);
    trans.setSource(&source);
    trans.getImage(to.data(), Rect(0, 0, 1, 1), 0);
    EXPECT_EQ(to, (std::vector<uint8_t>{3, 2, 1, 4})) << text(in);
  }
}

TEST(TransPixelBuffer, refusedFormatsKeepWhatWasSetUp) {
  PixelFormat invalid = PixelFormat::rgb888();
  invalid.depth = 0;
  Source source(kPage, nullptr), invalidSource(invalid, nullptr);
  Source swapped(bigEndian(PixelFormat::rgb565()), nullptr);
  TransPixelBuffer trans(true);
  trans.setSource(&source.buffer);
  trans.setPF(PixelFormat::rgb565());
  EXPECT_NE(thrownBy([&] { trans.setPF(invalid); }), "");
  EXPECT_NE(thrownBy([&] { trans.setSource(&invalidSource.buffer); }), "");
  EXPECT_NE(thrownBy([&] { trans.setSource(&swapped.buffer); }), "");
  EXPECT_TRUE(trans.getPF() == PixelFormat::rgb565());
  expectTranslated(trans, source, nullptr, true, nullptr);
}

TEST(TransPixelBuffer, tableIsBuiltOnceForTheSameSourceColours) {
  RandomMap first(1), second(2);
  Source source(PixelFormat::colourMap8(), &first), like(PixelFormat::colourMap8(), &first, 2);
  Source recoloured(PixelFormat::colourMap8(), &second);
  TransPixelBuffer trans(false);
  trans.setPF(PixelFormat::rgb888());
  trans.setSource(&source.buffer);
  int reads = first.reads;
  trans.setPF(PixelFormat::rgb888());
  trans.setSource(&like.buffer);
  EXPECT_EQ(first.reads, reads);
  expectTranslated(trans, like, &first, false, nullptr);
  // The format is the same, the colours are not.
  trans.setSource(&recoloured.buffer);
  expectTranslated(trans, recoloured, &second, false, nullptr);
}

TEST(ColourMap, lookupTakesFirstOfTheNearest) {
  RandomMap map(1);
  map.entries[0] = {10, 0, 0};
  map.entries[1] = {0, 0, 0};
  map.entries[200] = {0, 0, 0};
  EXPECT_EQ(map.lookup({5, 0, 0}), 0);
  EXPECT_EQ(map.lookup({4, 0, 0}), 1);
  map.count = 0;
  EXPECT_EQ(map.lookup({1, 2, 3}), 0);
}

TEST(ColourMapRW, copyFromSetsTheEntriesThatTheOtherHas) {
  RandomMap map(1), former = map;
  map.copyFrom(rfb::ColorCubeOrth(2, 2, 2));
  EXPECT_EQ(map.entries[7], (Colour{255, 255, 255}));
  EXPECT_EQ(map.entries[8], former.entries[8]);
}

TEST(PixelBuffer, grabAllReachesTheSource) {
  struct Grabbed : rfb::ManagedPixelBuffer {
    using ManagedPixelBuffer::ManagedPixelBuffer;
    void grabRegion(const rfb::Region& region) override { box = region.extents(); }
    rfb::RgnRect box;
  } source(PixelFormat(), Rect(3, 4, 10, 12), nullptr);
  TransPixelBuffer trans(false);
  trans.setSource(&source);
  trans.grabAll();
  EXPECT_EQ(source.box, (rfb::RgnRect{3, 4, 10, 12}));
}
