#include "base/rfb/TransPixelBuffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "base/rfb/ManagedPixelBuffer.h"
#include "base/rfb/byteOrderOps.h"
#include "tests/rfb/formats.h"
#include "tests/support/thrownBy.h"

using formats::bigEndian;
using formats::nearest;
using formats::text;
using rfb::Colour;
using rfb::PixelFormat;
using rfb::Rect;
using rfb::TransPixelBuffer;

namespace {

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

// Random pixels in exactly the memory that they need.
struct Source : rfb::FullFramePixelBuffer {
  Source(const PixelFormat& newPF, int x, int w, rfb::ColourMap* map)
      : FullFramePixelBuffer(newPF, Rect(x, 2, x + w, 7), map, nullptr, w + 4),
        bytes((5 * w + 16) * newPF.bpp / 8) {
    std::mt19937 random(w);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
    data = bytes.data();
  }
  void grabRegion(const rfb::Region& region) override { grabbed = region.extents(); }

  std::vector<uint8_t> bytes;
  rfb::RgnRect grabbed;
};

uint32_t expectedPixel(uint32_t in, const PixelFormat& inPF, const rfb::ColourMap* inMap,
                       const TransPixelBuffer& trans, bool perChannel16, const PixelFormat* limit) {
  using F = PixelFormat;
  const F& outPF = trans.getPF();
  const rfb::ColourMap* outMap = trans.getColourMap();
  if (!outPF.trueColour && !outMap) return inPF.bpp == outPF.bpp ? in : 0;
  uint32_t out = 0;
  if (inPF.trueColour && outPF.trueColour && inPF.bpp > (perChannel16 ? 8 : 16)) {
    // Rounded once.
    for (const auto& [max, shift] : {std::pair(&F::redMax, &F::redShift),
                                     {&F::greenMax, &F::greenShift},
                                     {&F::blueMax, &F::blueShift}}) {
      const uint32_t limitMax = limit ? limit->*max : inPF.*max;
      const uint32_t value = inPF.storedPixel(in) >> (inPF.*shift & 31) & inPF.*max;
      out |= nearest(nearest(value, inPF.*max, limitMax), limitMax, outPF.*max)
             << (outPF.*shift & 31);
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

TEST(TransPixelBuffer, anySequenceOfSettingsConvertsColourByColour) {
  RandomMap inMap(256), outMap(9);
  rfb::ColorCubeOrth outCube(5, 7, 6);
  std::vector<std::unique_ptr<Source>> sources;
  const auto addSource = [&](const PixelFormat& pf) {
    const int n = sources.size();
    sources.push_back(
        std::make_unique<Source>(pf, n, 30 + n % 7, pf.trueColour ? nullptr : &inMap));
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
  addSource(PixelFormat(16, 8, true, false, 0, 0, 0, 0, 0, 0));
  addSource(PixelFormat(32, 24, true, true, 255, 255, 255, 24, 16, 8));
  addSource(PixelFormat(32, 16, false, true, 0, 255, 255, 32, 8, 0));
  std::mt19937 random;
  for (bool perChannel16 : {false, true}) {
    TransPixelBuffer trans(perChannel16);
    Source* source = sources[0].get();
    const PixelFormat* limit = nullptr;
    trans.setSource(source);
    for (int step = 0; step < 5000; ++step) {
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
      const char* failed = isValid        ? "'inPF.isNativeEndian()'"
                           : in.isValid() ? "'pf."
                                          : "'inPF.isValid()'";
      ASSERT_TRUE(accepted ? isValid : error.find(failed) != std::string::npos) << error;
      ASSERT_TRUE(accepted || !isValid || !in.isNativeEndian());
      // What stays the same is not set up again.
      const bool same = in == oldIn && out == oldPF && setting != 2 && setting != 3;
      EXPECT_TRUE(!same || inMap.reads == reads);
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
      // Alpha and unused bits are carried along or cleared.
      const PixelFormat& pf = trans.getPF();
      const uint32_t colour = pf.storedPixel(pf.pixelFromRGB({255, 255, 255}, nullptr));
      const uint32_t mask = pf.trueColour ? colour : ~0u;
      for (int y = r.tl.y; y < r.br.y; ++y) {
        for (int x = r.tl.x; x < r.br.x; ++x) {
          ASSERT_EQ(read.getPixel(x, y) & mask,
                    expectedPixel(source->getPixel(x, y), source->getPF(), &inMap, trans,
                                  perChannel16, limit) &
                        mask)
              << text(source->getPF()) << " to " << text(pf);
          ASSERT_EQ(copied.getPixel(x, y), read.getPixel(x, y));
        }
      }
    }
  }
}

TEST(TransPixelBuffer, byteLayoutChangesCarryAlphaAlong) {
  uint8_t from[] = {1, 2, 3, 4}, to[4];
  rfb::FullFramePixelBuffer source(PixelFormat::argb8888(), Rect(0, 0, 1, 1), nullptr, from, 0);
  TransPixelBuffer trans(false);
  trans.setSource(&source);
  trans.setPF(PixelFormat::nativeABGR8888());
  trans.getImage(to, source.getRect(), 0);
  EXPECT_EQ(std::string(to, to + 4), "\3\2\1\4");
  std::string sizes;  // of the own cube: the largest that the depth holds
  for (int depth = 1; depth <= 8; ++depth) {
    trans.setPF(PixelFormat(8, depth, false, false, 0, 0, 0, 0, 0, 0));
    sizes += std::to_string(trans.getColourMap()->size()) + " ";
  }
  EXPECT_EQ(sizes, "0 1 8 8 27 64 125 216 ");
  trans.setSource(nullptr);
  EXPECT_EQ(trans.getRect(), Rect());
}

TEST(ColourMap, lookupTakesFirstOfTheNearestAndCopyFromSetsAllEntriesOfAnother) {
  RandomMap map(256), former = map;
  map.copyFrom(rfb::ColorCubeOrth(2, 2, 2));
  EXPECT_TRUE(map.entries[7] == Colour(255, 255, 255) && map.entries[8] == former.entries[8]);
  map.entries[0] = {10, 0, 0};
  map.entries[100] = map.entries[200] = {0, 0, 0};
  EXPECT_EQ(map.lookup({5, 0, 0}), 0);
  EXPECT_EQ(map.lookup({4, 0, 0}), 100);
  map.count = 0;
  EXPECT_EQ(map.lookup({1, 2, 3}), 0);
}

TEST(byteOrderOps, everyWidthAndAddressTouchesTheRowOnly) {
  std::vector<std::tuple<rfb::ByteOrderOp, int, int>> table{{rfb::shrink32To24(), 4, 3},
                                                            {rfb::swapRedBlue32(), 4, 4}};
  for (const auto& version : rfb::usableExpand24To32()) table.emplace_back(version.convert, 3, 4);
  for (const auto& [convert, inBytes, outBytes] : table) {
    for (int i = 0; i < 71 * 12; ++i) {
      // Memory of just the length, so that a sanitizer sees a byte too many.
      const int pixels = i / 12, gap = i % 4, outGap = i % 3;
      std::vector<uint8_t> in(gap + pixels * inBytes), out(outGap + pixels * outBytes + 64, 0xa5);
      for (size_t at = 0; at < in.size(); ++at) in[at] = static_cast<uint8_t>(at * 7 + 1);
      std::vector<uint8_t> expected = out;
      for (int at = 0; at < pixels * outBytes; ++at) {
        const int byte = at % outBytes, from = gap + at / outBytes * inBytes;
        expected[outGap + at] = byte < 3 ? in[from + 2 - byte] : inBytes == 4 ? in[from + 3] : 0;
      }
      convert(in.data() + gap, out.data() + outGap, pixels);
      ASSERT_EQ(out, expected) << i;
    }
  }
}
