#include "libs/rfb/Encoder.h"

#include <gtest/gtest.h>

#include "libs/rfb/EncoderCallbackV4.h"
#include "tests/rfbenc/pictures.h"
#include "tests/support/streams.h"

using fakes::bytesOf;
using rfb::Rect;

namespace {

// The data of a rectangle is one letter.
class LetterEncoder : public rfb::Encoder {
 public:
  LetterEncoder(rfb::EncoderCallback* cb, int number) : Encoder(cb, number) {}
  bool writeRectData(const Rect&, rdr::OutStream* os, rfb::PixelBuffer*) override {
    if (fail) throw plat::Exception("no letter");
    os->writeU8('x');
    return true;
  }
  bool fail = false;
};

}  // namespace

TEST(Encoder, regionIsWrittenBoxByBoxEachAsAMessage) {
  rdr::MemOutStream out;
  rfb::EncoderCallbackV4 callback(&out);
  LetterEncoder encoder(&callback, 0x12345);
  pictures::Picture picture(pictures::formats()[0], 1, 1);
  rfb::Region region;
  EXPECT_TRUE(encoder.writeRects(region, &picture, nullptr));
  EXPECT_EQ(out.length(), 0);
  region = rfb::Region(rfb::RgnRect{-2, 3, 300, 5});
  region.unite(region, rfb::Region(rfb::RgnRect{1, 7, 2, 8}));
  EXPECT_EQ(encoder.getNumRects(region), 2);
  EXPECT_TRUE(encoder.writeRects(region, &picture, nullptr));
  EXPECT_EQ(bytesOf(out), std::string("\x80\x0b\xa3\x45\xff\xfe\0\3\1\x2e\0\2x"
                                      "\x80\x0b\xa3\x45\0\1\0\7\0\1\0\1x",
                                      26));
  EXPECT_EQ(callback.bytesWritten(), 22);

  encoder.fail = true;
  EXPECT_THROW(encoder.writeRect(Rect(0, 0, 1, 1), &picture), plat::Exception);
  EXPECT_THROW(callback.startRect(Rect(), 0), rdr::FrameException);  // not ended
}

TEST(EncoderCallback, bufferMeetsTheMinimumAndCountsUpToTheLimit) {
  struct {
    int limit, itemSize, minItems, maxItems, items;
  } table[] = {{16384, 4, 4097, 0, 4097}, {16384, 4, 1, 100000, 4096}, {10, 3, 0, 1 << 30, 3}};
  for (const auto& row : table) {
    rfb::EncoderCallback callback(row.limit);
    int items = 0;
    uint8_t* block = callback.getBuffer(row.itemSize, row.minItems, row.maxItems, &items);
    EXPECT_EQ(items, row.items);
    memset(block, 1, static_cast<size_t>(row.items * row.itemSize));
  }
  EXPECT_THROW(rfb::EncoderCallback().getBuffer(4, 1 << 29, 0, nullptr), std::bad_alloc);
}
