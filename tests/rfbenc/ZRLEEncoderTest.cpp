#include "libs/rfbenc/ZRLEEncoder.h"

#include <gtest/gtest.h>

#include <random>

#include "base/plat/Configuration.h"
#include "base/rfb/ManagedPixelBuffer.h"
#include "libs/rfb/EncoderCallback.h"
#include "tests/rfbenc/pictures.h"
#include "tests/support/Inflater.h"
#include "tests/support/streams.h"

using fakes::bytesOf;
using fakes::Inflater;
using fakes::thrownBy;
using pictures::Decoder;
using pictures::Format;
using pictures::formats;
using pictures::Picture;
using rfb::Rect;
using rfb::Region;

namespace {

// A hidden parameter, set for a while.
class Setting {
 public:
  Setting(const char* newName, int value) : name(newName) {
    if (!global().setParam(name, std::to_string(value).c_str(), 10)) abort();
  }
  ~Setting() { global().getParam(name)->unsetParam(10); }
  Setting(const Setting&) = delete;
  Setting& operator=(const Setting&) = delete;

 private:
  static plat::Configuration& global() { return plat::Configuration::global(); }

  const char* name;
};

// Keeps the rectangles and the data of each.
class Recorder : public rfb::EncoderCallback {
 public:
  struct Written {
    Rect rect;
    std::string data;
  };

  rdr::OutStream* startRect(const Rect& r, int encoding) override {
    EXPECT_EQ(encoding, 16);
    rects.push_back({r, ""});
    current = std::make_unique<rdr::MemOutStream>();
    return current.get();
  }
  void endRect(bool flush) override {
    EXPECT_FALSE(flush);
    rects.back().data = bytesOf(*current);
    total += static_cast<unsigned>(current->length());
  }
  int bytesWritten() override { return static_cast<int>(total); }
  int protocolVersion() override { return version; }
  void rectDeferred() override { ++deferred; }

  std::vector<Written> rects;
  unsigned total = INT_MAX - 1000u;  // wraps on the way
  int deferred = 0;
  int version = 4;

 private:
  std::unique_ptr<rdr::MemOutStream> current;
};

// Every third tile is of one colour; the others cannot be compressed.
void fillWithNoise(Picture& picture) {
  std::mt19937 random(1);
  int tile = 0;
  picture.fillTiles(64, [&](int i) {
    if (i == 0) ++tile;
    return tile % 3 ? static_cast<uint32_t>(random()) : 7u;
  });
}

Region regionOf(const Rect& r) {
  return Region(static_cast<rfb::RgnRect>(r));
}

// The boxes of a set of pixels are always the same.
bool same(const Region& a, const Region& b) {
  return std::equal(a.rects(), a.rects() + a.numRects(), b.rects(), b.rects() + b.numRects());
}

std::unique_ptr<rfb::ZRLEEncoder> encoderFor(Recorder& callback, bool writeLength = false) {
  return std::make_unique<rfb::ZRLEEncoder>(&callback, 99, writeLength, 64, false, true);
}

// The bytes that the buffered path makes of r on a new stream.
int bufferedSize(Picture& picture, const Rect& r) {
  Setting on("MiniUpdates", 1), size("MiniUpdateSize", INT_MAX);
  Recorder callback;
  Region updated = regionOf(r);
  encoderFor(callback)->writeRects(regionOf(r), &picture, &updated);
  return static_cast<int>(callback.rects.at(0).data.size());
}

}  // namespace

TEST(ZRLEEncoder, rectanglesContinueOneStreamInEveryFormat) {
  for (const Format& format : formats()) {
    for (bool writeLength : {false, true}) {
      SCOPED_TRACE(testing::Message() << format.name << " " << writeLength);
      Picture picture(format, 200, 130);
      fillWithNoise(picture);
      Recorder callback;
      callback.version = writeLength ? 3 : 4;
      std::unique_ptr<rfb::Encoder> encoder = rfb::Encoder::create(&callback, 16);
      const Rect left(0, 0, 110, 130), right(110, 0, 200, 130);
      Inflater inflater;
      Decoder decoder(format, 200, 130);
      const auto receive = [&](std::string data, const Rect& r) {
        if (writeLength) {
          uint32_t length;
          memcpy(&length, data.data(), 4);
          data.erase(0, 4);
          EXPECT_EQ(be32toh(length), data.size());
        }
        const std::string tiles = inflater.take(data);
        EXPECT_EQ(decoder.decode(tiles, r), tiles.size());
        EXPECT_TRUE(decoder.shows(picture, r));
        return data;
      };
      EXPECT_TRUE(encoder->writeRect(Rect(3, 3, 3, 9), &picture));
      EXPECT_TRUE(encoder->writeRect(left, &picture));
      rdr::MemOutStream out;
      EXPECT_TRUE(encoder->writeRectData(right, &out, &picture));
      ASSERT_EQ(callback.rects.size(), 2u);
      EXPECT_EQ(callback.rects[0].data, writeLength ? std::string(4, '\0') : "");
      const std::string first = receive(callback.rects[1].data, left);
      EXPECT_EQ(first.substr(0, 2), "\x78\x9c");
      // One flush at the end, an empty stored block, unless the rectangle is buffered for its
      // length.
      const bool oneFlush = first.find(std::string("\0\0\xff\xff", 4)) == first.size() - 4;
      EXPECT_EQ(oneFlush, !writeLength);
      EXPECT_NE(receive(bytesOf(out), right).substr(0, 2), "\x78\x9c");
      encoder->reset();
      EXPECT_TRUE(encoder->writeRect(left, &picture));
      EXPECT_EQ(callback.rects[2].data, callback.rects[1].data);
    }
  }
  EXPECT_EQ(rfb::Encoder::create(nullptr, 99), nullptr);
  EXPECT_EQ(rfb::Encoder::supportedEncodings(), std::vector<int>{16});
  EXPECT_TRUE(rfb::Encoder::isSupported(16) && !rfb::Encoder::isSupported(99));
}

TEST(ZRLEEncoder, levelIsTakenWhenTheEncoderIsMade) {
  Picture picture(formats()[0], 64, 64);
  Recorder callback;
  std::unique_ptr<rfb::ZRLEEncoder> encoder;
  {
    Setting level("ZlibLevel", 0);
    encoder = encoderFor(callback);
  }
  encoder->writeRect(picture.getRect(), &picture);
  EXPECT_EQ(callback.rects[0].data.substr(0, 2), "\x78\x01");
}

TEST(ZRLEEncoder, miniUpdatesOfAnySizeAddUpToTheRegion) {
  bool sawRows = false, sawTiles = false, sawNothing = false, sawTooSmall = false;
  for (const Format& format : formats()) {
    for (bool writeLength : {false, true}) {
      Picture picture(format, 200, 250);
      fillWithNoise(picture);
      const Rect firstBox(0, 0, 200, 140);
      const int step = 3100 * format.cpixelSize;
      // This one is for the first box and not even a tile more.
      std::vector<int> budgets{bufferedSize(picture, firstBox) + 10};
      for (int budget = 300; budget < 11 * step; budget += step) budgets.push_back(budget);
      for (int budget : budgets) {
        SCOPED_TRACE(testing::Message() << format.name << " " << writeLength << " " << budget);
        Region pending = regionOf(firstBox);
        pending.unite(pending, regionOf(Rect(10, 150, 190, 250)));
        Recorder callback;
        auto encoder = encoderFor(callback, writeLength);
        encoder->writeRect(Rect(3, 3, 9, 3), &picture);  // begins no stream
        Inflater inflater;
        Decoder decoder(format, 200, 250);
        Setting limit("MiniUpdateSize", budget);
        auto on = std::make_unique<Setting>("MiniUpdates", 1);
        bool tooSmall = false;
        while (!pending.isEmpty()) {
          callback.rects.clear();
          callback.deferred = 0;
          const unsigned before = callback.total;
          Region updated = pending;
          bool complete = false;
          const std::string error =
              thrownBy([&] { complete = encoder->writeRects(pending, &picture, &updated); });
          if (!error.empty()) {
            // What does not fit at all can still be sent without a limit.
            ASSERT_EQ(error, ": MiniUpdateSize is too small");
            ASSERT_FALSE(tooSmall);
            ASSERT_TRUE(callback.rects.empty());
            EXPECT_EQ(callback.deferred, 1);
            tooSmall = sawTooSmall = true;
            on.reset();
            continue;
          }
          Region received;
          for (const Recorder::Written& w : callback.rects) {
            const std::string tiles = inflater.take(w.data.substr(writeLength ? 4 : 0));
            ASSERT_EQ(decoder.decode(tiles, w.rect), tiles.size());
            ASSERT_TRUE(decoder.shows(picture, w.rect));
            received.unite(received, regionOf(w.rect));
          }
          ASSERT_FALSE(received.isEmpty());
          ASSERT_TRUE(same(received, updated));
          if (on) {
            const int lengths = writeLength ? 4 * static_cast<int>(callback.rects.size()) : 0;
            EXPECT_LE(callback.total - before, static_cast<unsigned>(budget + lengths));
          }
          pending.subtract(pending, received);
          EXPECT_TRUE(complete || !pending.isEmpty());
          if (!complete) {
            const Rect& last = callback.rects.back().rect;
            sawRows |= last.height() == 128;
            sawTiles |= last.width() == 128 || last.width() == 64;
            sawNothing |= callback.rects.size() == 1 && callback.deferred == 1 && last == firstBox;
          }
        }
      }
    }
  }
  EXPECT_TRUE(sawRows && sawTiles && sawNothing && sawTooSmall);
}

TEST(ZRLEEncoder, whatFitsIsWrittenInTileRowsAndTheRestDeferred) {
  Picture picture(formats()[0], 200, 256);
  fillWithNoise(picture);
  const Rect top(0, 0, 200, 128), behind(50, 200, 51, 201);
  struct {
    std::vector<Rect> boxes;
    int budget;
    bool complete;
    Rect written;
    int deferred;
  } const table[] = {{{picture.getRect()}, bufferedSize(picture, top) + 6, false, top, 0},
                     // The box behind is deferred unencoded.
                     {{top, behind}, bufferedSize(picture, top) - 1, false, Rect(0, 0, 200, 64), 1},
                     {{top, behind}, 0, true, Rect(), 2}};
  for (const auto& row : table) {
    Setting on("MiniUpdates", 1), size("MiniUpdateSize", row.budget);
    Recorder callback;
    Region region;
    for (const Rect& r : row.boxes) region.unite(region, regionOf(r));
    Region updated = region;
    EXPECT_EQ(encoderFor(callback)->writeRects(region, &picture, &updated), row.complete);
    EXPECT_TRUE(same(updated, regionOf(row.written))) << row.budget;
    EXPECT_EQ(callback.deferred, row.deferred) << row.budget;
  }
}

// A rectangle without tile data used to count as the start of the stream, so that a limited one
// behind it that had to be tried again began in the middle of one.
TEST(ZRLEEncoder, streamBeginsWithTheFirstOutput) {
  Picture picture(formats()[0], 200, 64);
  fillWithNoise(picture);
  rfb::ManagedPixelBuffer noTileData(rfb::PixelFormat(24, 24, false, true, 255, 255, 255, 16, 8, 0),
                                     Rect(0, 0, 8, 8), nullptr);
  const int budget = bufferedSize(picture, Rect(0, 0, 64, 64)) + 30;
  Setting on("MiniUpdates", 1), size("MiniUpdateSize", budget);
  Recorder callback;
  auto encoder = encoderFor(callback);
  EXPECT_TRUE(encoder->writeRect(noTileData.getRect(), &noTileData));
  Region updated = regionOf(picture.getRect());
  EXPECT_FALSE(encoder->writeRects(regionOf(picture.getRect()), &picture, &updated));
  ASSERT_EQ(callback.rects.size(), 2u);
  EXPECT_EQ(callback.rects[1].data.substr(0, 2), "\x78\x9c");
}

TEST(ZRLEEncoder, largestTileOf3ByteCPixelsBehindALengthIs73) {
  Picture picture(formats()[3], 74, 74);
  std::mt19937 random(1);
  picture.fillTiles(74, [&](int) { return static_cast<uint32_t>(random()); });
  for (int tileSize : {73, 74}) {
    Recorder callback;
    rfb::ZRLEEncoder encoder(&callback, 16, true, tileSize, false, true);
    EXPECT_EQ(thrownBy([&] { encoder.writeRect(picture.getRect(), &picture); }),
              tileSize == 73 ? "" : ": ZlibOutStream overrun: max itemSize exceeded");
  }
}

TEST(ZRLEEncoder, failuresPassThrough) {
  Picture picture(formats()[0], 200, 200);
  fillWithNoise(picture);
  Recorder callback;
  auto encoder = encoderFor(callback);
  fakes::FailingOut out(1000, 100);
  EXPECT_NE(thrownBy([&] { encoder->writeRectData(picture.getRect(), &out, &picture); }), "");
  EXPECT_NE(thrownBy([&] { encoder->writeRect(Rect(0, 0, 201, 1), &picture); }), "");
}
