#include "libs/rfbenc/ZRLEEncoder.h"

#include <gtest/gtest.h>

#include "base/plat/Configuration.h"
#include "libs/rfb/EncoderCallback.h"
#include "tests/rfbenc/pictures.h"
#include "tests/support/Inflater.h"
#include "tests/support/streams.h"

using fakes::thrownBy;
using namespace pictures;
using rfb::Rect;
using rfb::Region;

namespace {

// Runs the action with a hidden parameter set.
template <class Action>
void with(const char* name, int value, Action action) {
  plat::Configuration& global = plat::Configuration::global();
  EXPECT_TRUE(global.setParam(name, std::to_string(value).c_str(), 10));
  action();
  global.getParam(name)->unsetParam(10);
}

// Keeps the rectangles and the data of each.
struct Recorder : rfb::EncoderCallback {
  rdr::OutStream* startRect(const Rect& r, int encoding) override {
    EXPECT_EQ(encoding, 16);
    rects.emplace_back(r, "");
    memory.truncate(0);
    return &memory;
  }
  void endRect(bool flush) override {
    EXPECT_FALSE(flush);
    rects.back().second = fakes::bytesOf(memory);
    total += static_cast<unsigned>(memory.length());
  }
  int bytesWritten() override { return static_cast<int>(total); }
  int protocolVersion() override { return version; }
  void rectDeferred() override { ++deferred; }

  std::vector<std::pair<Rect, std::string>> rects;
  unsigned total = INT_MAX - 1000u;  // wraps on the way
  int deferred = 0;
  int version = 4;
  rdr::MemOutStream memory;
};

// Some tiles are of one colour; the others cannot be compressed.
Picture noise(const Format& format, int w, int h) {
  return Picture(format, w, h, [w, random = Random()](int i) mutable {
    return (i % w / 64 + i / w / 64 * 2) % 3 ? random() : 7;
  });
}

// writeRects() of boxes: whether all, how much is deferred and what was written, or the failure.
std::string writeRects(rfb::Encoder& encoder, Recorder& callback, Picture& picture,
                       const std::vector<Rect>& boxes, bool limited, int budget) {
  Region region, received;
  for (const Rect& r : boxes) region.unite(region, Region(rfb::RgnRect(r)));
  Region updated = region;
  const unsigned before = callback.total;
  std::string result;
  const auto write = [&] {
    result = encoder.writeRects(region, &picture, &updated) ? "all " : "part ";
  };
  with("MiniUpdates", limited,
       [&] { with("MiniUpdateSize", budget, [&] { result = thrownBy(write) + result; }); });
  EXPECT_TRUE(limited || result == "all ");
  if (result[0] == ':') return result;
  const int lengths = callback.version == 3 ? 4 * callback.rects.size() : 0;
  EXPECT_LE(callback.total - before, limited ? 0u + budget + lengths : UINT_MAX);
  for (const auto& written : callback.rects)
    received.unite(received, Region(rfb::RgnRect(written.first)));
  // The boxes of a set of pixels are always the same.
  EXPECT_TRUE(std::equal(updated.rects(), updated.rects() + updated.numRects(), received.rects(),
                         received.rects() + received.numRects()));
  return result + std::to_string(callback.deferred) + " " +
         (updated.isEmpty() ? "" : rfb::RectText(Rect(updated.extents())).text);
}

}  // namespace

TEST(ZRLEEncoder, anySequenceOfCallsReadsAsOneStreamOfTheTiles) {
  Random random;
  for (int round = 0; round < 180; ++round) {
    Picture picture = noise(formats[round % formats.size()], 200, 200);
    const int lengthBytes = round % 2 ? 0 : 4, level = round % 3 * 5 - 1;
    Recorder callback;
    callback.version = lengthBytes ? 3 : 4;
    std::unique_ptr<rfb::Encoder> encoder;
    with("ZlibLevel", level, [&] { encoder = rfb::Encoder::create(&callback, 16); });
    if (random.below(2)) {
      picture.beforeReading = [&] { static_cast<rfb::ZRLEEncoder&>(*encoder).deflateSome(); };
    }
    std::unique_ptr<fakes::Inflater> inflater;  // none: a new stream
    for (int step = 0; step < 6; ++step) {
      const Rect r(random.below(60), random.below(60), random.below(4) ? 60 + random.below(141) : 0,
                   60 + random.below(80));
      const int call = random.below(8);
      const bool limited = call > 3;
      if (call == 0) {
        // What fails half-way is forgotten.
        thrownBy([&] { encoder->writeRect(Rect(0, 0, 200, 201), &picture); });
        callback.rects.clear();
        encoder->reset();
        inflater.reset();
      } else if (call == 1) {
        EXPECT_TRUE(encoder->writeRect(r, &picture));
      } else if (call == 2) {
        EXPECT_TRUE(encoder->writeRectData(r, callback.startRect(r, 16), &picture));
        callback.endRect(false);
      } else {
        const int budget = 1 + random.below(18000 * std::max(1, picture.format.cpixelSize));
        writeRects(*encoder, callback, picture, {r, Rect(10, 150, 190, 200)}, limited, budget);
      }
      for (const auto& [rect, data] : callback.rects) {
        const std::string deflated = data.substr(lengthBytes), tiles = tileData(picture, rect);
        EXPECT_EQ(data, builder::be32(deflated.size()).substr(4 - lengthBytes) + deflated);
        ASSERT_EQ(deflated.empty(), tiles.empty());
        if (tiles.empty()) continue;
        if (!lengthBytes && !limited && !inflater) {  // at once, not buffered
          // The mark of a flush comes twice when the first just fills the memory.
          const std::string once = builder::compress(tiles, level);
          EXPECT_TRUE(deflated == once || deflated == once + std::string("\0\0\0\xff\xff", 5));
        }
        if (!inflater) inflater = std::make_unique<fakes::Inflater>();
        ASSERT_TRUE(inflater->take(deflated) == tiles) << round << " " << step;
      }
      callback.rects.clear();
    }
  }
}

TEST(ZRLEEncoder, whatFitsIsWrittenInTileRowsOrTilesAndTheRestDeferred) {
  Picture picture = noise(formats[0], 200, 256);
  int size = 0;
  const auto write = [&](int bottom, int budget) {
    Recorder callback;
    rfb::ZRLEEncoder encoder(&callback, 99, false, 64, false, true);
    const std::vector<Rect> boxes{Rect(0, 0, 200, bottom), Rect(50, 200, 51, 201)};
    const std::string result = writeRects(encoder, callback, picture, boxes, true, budget);
    if (!callback.rects.empty()) size = callback.rects[0].second.size();
    return result;
  };
  EXPECT_EQ(write(128, INT_MAX), "all 0 0,0 to 200,201");
  const int twoRows = size;
  EXPECT_EQ(write(256, twoRows + 6), "part 0 0,0 to 200,128");
  EXPECT_EQ(write(128, twoRows + 6), "part 1 0,0 to 200,128");
  EXPECT_EQ(write(128, twoRows - 1), "part 1 0,0 to 200,64");  // the box behind is not tried
  EXPECT_EQ(write(128, 2000), "part 1 0,0 to 64,64");
  EXPECT_EQ(write(128, 10), ": MiniUpdateSize is too small");
  EXPECT_EQ(write(128, 0), "all 2 ");
}

TEST(ZRLEEncoder, failuresPassThrough) {
  Random random;
  Picture picture(formats[3], 74, 74, [&](int) { return random(); });
  Recorder callback;
  const auto failure = [&](bool hasLength, int tileSize, rdr::OutStream* out) {
    rfb::ZRLEEncoder encoder(&callback, 16, hasLength, tileSize, false, true);
    return thrownBy([&] { encoder.writeRectData(picture.getRect(), out, &picture); });
  };
  rdr::MemOutStream memory;
  fakes::FailingOut full(1000, 100);
  EXPECT_EQ(failure(true, 73, &memory), "");
  EXPECT_EQ(failure(true, 74, &memory), ": ZlibOutStream overrun: max itemSize exceeded");
  EXPECT_NE(failure(false, 64, &full), "");
  EXPECT_NE(failure(false, 64, nullptr).find("'!os == withRectHeader'"), std::string::npos);
}
