#include "libs/rfb/Encoder.h"

#include <gtest/gtest.h>

#include "base/region/miregion.h"
#include "base/rfb/Rect.h"
#include "libs/rfb/EncoderCallbackV4.h"
#include "tests/support/streams.h"

using rfb::Rect;

namespace {

// The data of a rectangle is one letter.
struct LetterEncoder : rfb::Encoder {
  LetterEncoder(rfb::EncoderCallback* cb, int number) : Encoder(cb, number) {}
  bool writeRectData(const Rect& r, rdr::OutStream* os, rfb::PixelBuffer*) override {
    if (r.isEmpty()) throw plat::Exception("no letter");
    os->writeU8('x');
    return true;
  }
};

}  // namespace

TEST(Encoder, regionIsWrittenBoxByBoxEachAsAMessage) {
  rdr::MemOutStream out;
  rfb::EncoderCallbackV4 callback(&out);
  LetterEncoder encoder(&callback, 0x12345);
  rfb::Region region;
  EXPECT_TRUE(encoder.writeRects(region, nullptr, nullptr));
  region = rfb::Region(rfb::RgnRect{-2, 3, 300, 5});
  region.unite(region, rfb::Region(rfb::RgnRect{1, 7, 2, 8}));
  EXPECT_EQ(encoder.getNumRects(region), 2);
  EXPECT_TRUE(encoder.writeRects(region, nullptr, nullptr));
  const char expected[] =
      "\x80\x0b\xa3\x45\xff\xfe\0\3\1\x2e\0\2x"
      "\x80\x0b\xa3\x45\0\1\0\7\0\1\0\1x";
  EXPECT_EQ(fakes::bytesOf(out), std::string(expected, 26));
  EXPECT_EQ(callback.bytesWritten(), 22);
  EXPECT_THROW(encoder.writeRect(Rect(), nullptr), plat::Exception);
  EXPECT_THROW(callback.startRect(Rect(), 0), rdr::FrameException);  // not ended

  EXPECT_EQ(rfb::Encoder::supportedEncodings(), std::vector<int>{16});
  EXPECT_TRUE(rfb::Encoder::isSupported(16) && !rfb::Encoder::isSupported(15));
  EXPECT_EQ(rfb::Encoder::create(nullptr, 15), nullptr);
}

TEST(EncoderCallback, bufferMeetsTheMinimumCountsUpToTheLimitAndNeverShrinks) {
  const int table[][6] = {{16384, 4, 4097, 0, 4097, 8194},
                          {16384, 4, 1, 100000, 4096, 8192},
                          {10, 3, 0, 1 << 30, 3, 50}};
  for (const auto& [limit, itemSize, minItems, maxItems, expected, expectedOf2] : table) {
    rfb::EncoderCallback callback(limit);
    int items = 0;
    memset(callback.getBuffer(itemSize, minItems, maxItems, &items), 1, expected * itemSize);
    EXPECT_EQ(items, expected);
    memset(callback.getBuffer(2, 50, 60, &items), 1, expectedOf2 * 2);
    EXPECT_EQ(items, expectedOf2);
  }
  EXPECT_THROW(rfb::EncoderCallback().getBuffer(4, 1 << 29, 0, nullptr), std::bad_alloc);
}
