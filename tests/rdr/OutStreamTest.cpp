// The output streams in memory: what the fuzz targets outStream and framed do not reach.
#include "base/rdr/OutStream.h"

#include <gtest/gtest.h>

#include "base/plat/Configuration.h"
#include "base/rdr/NullOutStream.h"
#include "base/rdr/OutStreamV4.h"
#include "base/rdr/StringWriter.h"
#include "base/rdr/ZlibOutStream.h"
#include "tests/support/Inflater.h"
#include "tests/support/streams.h"

using namespace fakes;
using namespace std::string_literals;

namespace {

// Makes no room whatever is asked.
struct Stuck : rdr::OutStream {
  Stuck() { end = (ptr = block) + 1; }
  int length() const override { return 0; }
  int freeSpace() const override { return 0; }
  int overrun(int, int) override { return 0; }
  uint8_t block[2];
};

}  // namespace

TEST(MemOutStream, growsByDoublingUpToItsMaximum) {
  rdr::MemOutStream none(0), doubled, limited(10, 15);
  EXPECT_EQ(none.data(), nullptr);
  EXPECT_EQ(doubled.overrun(257, 1), 1);
  EXPECT_EQ(doubled.nFree(), 512);
  EXPECT_EQ(limited.overrun(4, 4), 3);
  EXPECT_EQ(limited.nFree(), 15);
}

TEST(BufferedOutStream, blockedBufferGrowsToItsMaximum) {
  ChokedOut out(100, 350);
  out.room = 30;
  out.skip(100);
  EXPECT_EQ(out.overrun(30, 5), 1);
  EXPECT_EQ(out.nFree(), 30) << "the room of what was delivered";
  EXPECT_EQ(out.overrun(31, 5), 4);
  EXPECT_EQ(out.nFree(), 130);
  EXPECT_EQ(thrownBy([&] { out.skip(281); }), ": BufferedOutStream overrun: unable to write");
  EXPECT_EQ(thrownBy([&] { out.overrun(351, 1); }),
            ": BufferedOutStream overrun: buffer size exceeded");
  EXPECT_EQ(out.asked, "nnnnnb") << "only a full stream, or a blocking one, may wait";
  out.setLazy(true);
  out.flush();
  out.room = 349;
  out.setLazy(false);
  EXPECT_EQ(out.asked, "nnnnnbnnbb");
}

// What followed used to be written where the smaller buffer had been.
TEST(BufferedOutStream, writeThatFailsLeavesTheRoomOfTheGrownBuffer) {
  ChokedOut out(100, 150);
  out.room = 0;
  out.skip(100);
  EXPECT_THROW(out.overrun(60, 1), plat::Exception);
  EXPECT_EQ(out.nFree(), 50);
}

TEST(BufferedOutStream, windowIsAtMost16KiBBeyondWhatIsBuffered) {
  ChokedOut out(40000, 40000), none(0, 0), standard;
  out.room = 0;
  for (int buffered : {0, 16384}) {
    out.skip(buffered);
    EXPECT_EQ(out.overrun(1, INT_MAX), 16384);
  }
  EXPECT_EQ(out.overrun(16385, 1), 0);
  EXPECT_EQ(standard.nFree(), 16384);
  EXPECT_EQ(thrownBy([&] { none.writeU8(0); }), "OutStreamFull: OutStream full");
}

TEST(BufferedOutStream, maximumIsTheParametersUnlessGiven) {
  plat::ConfigParameter* maximum = plat::Configuration::global().getParam("MaxOutBufferSize");
  EXPECT_TRUE(maximum->isHidden());
  ChokedOut before;
  EXPECT_FALSE(maximum->setParam("16383", 10));
  EXPECT_TRUE(maximum->setParam("16384", 10));
  ChokedOut least;
  EXPECT_TRUE(maximum->setParam("2147483647", 10));
  ChokedOut most;
  maximum->unsetParam(10);
  std::vector<int> spaces;
  for (auto* out : {&before, &least, &most}) spaces.push_back(out->freeSpace());
  EXPECT_EQ(spaces, (std::vector{134217728, 16384, INT_MAX}));
}

TEST(NullOutStream, countsAndWrapsBeyondTwoGiB) {
  rdr::NullOutStream out;
  out.skip(3000);
  out.writeBytes(nullptr, -1);
  out.writeBytes(nullptr, INT_MAX - 3000);
  out.writeU8(0);
  out.flush();
  EXPECT_EQ(out.length(), INT_MIN);
  EXPECT_EQ(out.freeSpace(), INT_MAX);
}

TEST(StringWriter, textOfAnyWidthIsWrittenOrRefused) {
  ChokedOut wide;
  rdr::StringWriter(wide).appendf("%20000d", 1);
  wide.flush();
  EXPECT_EQ(wide.delivered, std::string(19999, ' ') + "1");
  rdr::MemOutStream out(999, 1000);
  rdr::StringWriter writer(out);
  EXPECT_EQ(thrownBy([&] { writer.appendf("%1000d", 1); }), "OutStreamFull: OutStream full");
  // The C locale cannot express it: vsnprintf fails whatever the room.
  EXPECT_THROW(writer.appendf("%ls", L"\x20ac"), rdr::OutStreamFull);
  EXPECT_EQ(thrownBy([&] { writer.appendChars(0x110000, 1); }), ": Unicode out of range");
  writer.appendf("%999d", 1);
  EXPECT_EQ(out.length(), 999);
}

TEST(FramedOutStream, misuseIsRefusedAndAnotherStreamEndsTheMessage) {
  const std::string failure = "FrameException: FramedOutStream::";
  FailingOut out(0, 16);
  rdr::OutStreamV4 framed(&out);
  EXPECT_EQ(thrownBy([&] { framed.endMsg(false); }), failure + "endMsg: not in frame");
  out.skip(16);
  EXPECT_THROW(framed.startMsg(), plat::SystemException);
  out.room = INT_MAX;
  framed.startMsg();
  EXPECT_EQ(thrownBy([&] { framed.startMsg(); }), failure + "startMsg: already in msg");
  out.delivered.clear();
  writeText(framed, "ab");
  framed.flush();
  EXPECT_EQ(std::exchange(out.delivered, ""), "\0\2ab"s);
  framed.endMsg(false);
  EXPECT_EQ(framed.pendingBytes(), 2);
  framed.startMsg();
  framed.endMsg(true);
  EXPECT_EQ(thrownBy([&] { framed.writeU8(0); }), failure + "endFrame: not in frame");
  EXPECT_EQ(std::exchange(out.delivered, ""), "\x80\0\x80\0"s);
  EXPECT_EQ(framed.freeSpace(), 14);

  ChokedOut next(1, 1);
  Stuck stuck;
  framed.startMsg();
  writeText(framed, "dropped");
  framed.setUnderlying(&next);
  framed.flush();
  EXPECT_EQ(next.delivered + out.delivered, "");
  EXPECT_EQ(framed.length() + framed.freeSpace(), 2);
  framed.setUnderlying(&stuck);
  framed.startMsg();
  EXPECT_EQ(thrownBy([&] { framed.endMsg(true); }), failure + "endFrame: no space for header");
}

TEST(ZlibOutStream, flushMakesOutputOfWhatIsNew) {
  ChokedOut out;
  rdr::ZlibOutStream zlib(&out, 0, 9);
  zlib.flush(true);
  EXPECT_EQ(out.length(), 0);
  writeText(zlib, "some text");
  zlib.flush(false);
  const int afterSync = out.length();
  EXPECT_EQ(zlib.pendingBytes(), afterSync) << "the stream below was flushed";
  zlib.flush();
  EXPECT_EQ(out.length(), afterSync);
  EXPECT_TRUE(out.delivered.starts_with("\x78\xda")) << "not the level that was asked for";
  zlib.flush(true);  // stronger than what was done
  const int afterFull = out.length();
  EXPECT_GT(afterFull, afterSync);
  zlib.flush();
  EXPECT_EQ(out.length(), afterFull);
  writeText(zlib, "some text");
  zlib.flush();
  EXPECT_EQ(Inflater(true).take(out.delivered.substr(static_cast<size_t>(afterFull))), "some text")
      << "a full flush did not forget the history";
}

TEST(ZlibOutStream, resetBeginsANewStreamAlsoAfterAFailure) {
  for (bool kept : {false, true}) {
    rdr::MemOutStream full(0, 8), next;
    rdr::ZlibOutStream zlib(&full);
    writeText(zlib, patternBytes(1000));
    EXPECT_THROW(zlib.flush(), rdr::OutStreamFull);
    zlib.reset();
    writeText(zlib, "old,");
    zlib.setUnderlying(&next);
    kept ? zlib.resetDeflate() : zlib.reset();
    zlib.flush(true);
    EXPECT_EQ(next.length() > 0, kept);
    writeText(zlib, "new");
    zlib.flush();
    EXPECT_EQ(Inflater().take(bytesOf(next)), kept ? "old,new" : "new");
    EXPECT_EQ(zlib.length(), 1007);
  }
}

TEST(ZlibOutStream, whatCannotBeDoneIsRefused) {
  const std::string failure = ": ZlibOutStream: ";
  EXPECT_EQ(thrownBy([] { rdr::ZlibOutStream(nullptr, 0, 10); }), failure + "deflateInit failed");
  rdr::ZlibOutStream zlib;
  zlib.skip(16384);
  EXPECT_EQ(thrownBy([&] { zlib.writeU8(0); }), failure + "no underlying stream");
  Stuck stuck;
  zlib.setUnderlying(&stuck);
  EXPECT_EQ(thrownBy([&] { zlib.flush(); }), failure + "deflate failed");
}
