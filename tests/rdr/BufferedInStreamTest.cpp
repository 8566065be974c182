#include "base/rdr/BufferedInStream.h"

#include <gtest/gtest.h>

#include <utility>

#include "tests/support/streams.h"

using fakes::bytesOf;
using fakes::ChunkedIn;
using fakes::patternBytes;
using fakes::thrownBy;

namespace {

// Claims to have filled whatever buffer it is given.
class EndlessIn : public rdr::BufferedInStream {
 protected:
  int readData(uint8_t*, int len) override { return len; }
};

}  // namespace

TEST(BufferedInStream, readingOnWithoutACheckpointOverrunsTheBuffer) {
  const std::string bytes = patternBytes(100);
  for (int window : {1, 3, 16, 100}) {
    SCOPED_TRACE(window);
    ChunkedIn in(bytes, window, 16);
    char block[16];
    in.readBytes(block, 16);
    EXPECT_EQ(thrownBy([&] { in.readU8(); }), ": InStream overrun: buffer size exceeded");

    std::string copied(block, 16);
    while (copied.size() < bytes.size()) {
      in.checkpoint();
      if (in.nUnread() == 0) in.overrun(true, 1);
      rdr::InStream::Span span = in.getSpan(in.nUnread());
      copied.append(reinterpret_cast<const char*>(span.data), static_cast<size_t>(span.length));
    }
    EXPECT_EQ(copied, bytes);
    EXPECT_EQ(in.pos(), 100);
  }
}

TEST(BufferedInStream, checkpointedBytesSurviveTheMoveToTheBufferStart) {
  ChunkedIn in("0123456789", 4, 6);
  in.skip(3);
  in.checkpoint();
  in.skip(5);
  EXPECT_EQ(in.readU8(), '8');
  in.rewind();
  EXPECT_EQ(in.pos(), 3);
  EXPECT_EQ(in.readU8(), '3');
  in.reposition(7);
  EXPECT_EQ(in.readU8(), '7');
  EXPECT_EQ(thrownBy([&] { in.reposition(2); }), ": Can't reposition before checkpoint");
  in.setRewindable(false);
  EXPECT_EQ(thrownBy([&] { in.rewind(); }), ": Attempt to rewind a non-rewindable stream");
}

TEST(BufferedInStream, positionsWrapBeyondTwoGiB) {
  EndlessIn in;
  in.setRewindable(false);
  in.skip(INT_MAX - 100);
  EXPECT_EQ(in.pos(), INT_MAX - 100);
  in.setRewindable(true);
  EXPECT_EQ(in.checkpoint(), INT_MAX - 100);
  in.skip(200);
  EXPECT_EQ(in.pos(), INT_MIN + 99);
  in.reposition(INT_MIN + 9);
  EXPECT_EQ(in.pos(), INT_MIN + 9);
  EXPECT_THROW(in.reposition(INT_MAX - 101), plat::Exception);
  in.setRewindable(false);
  in.skip(INT_MAX);
  in.skip(INT_MAX);
  EXPECT_EQ(in.pos(), INT_MIN + 9 - 2);
}

TEST(BufferedInStream, unreadBytesCrossToAnotherStreamAsABlock) {
  ChunkedIn from("..block", 100);
  from.skip(2);
  rdr::MemOutStream state;
  from.writeTo(state);
  EXPECT_EQ(bytesOf(state), std::string("\0\0\0\5block", 9));
  EXPECT_EQ(from.nUnread(), 5);

  struct {
    int consumed;
    bool checkpoint, rewindable, fits;
  } const rows[] = {{0, false, true, true},
                    {1, false, true, false},
                    {1, false, false, true},
                    {1, true, true, true},
                    {2, true, true, true}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.consumed);
    ChunkedIn to("abcdef", row.consumed ? 4 : 3, 8);
    to.overrun(true, 1);
    to.skip(row.consumed);
    if (row.checkpoint) to.checkpoint();
    to.setRewindable(row.rewindable);
    ChunkedIn source(bytesOf(state), 2);
    const int before = to.nUnread();
    if (row.fits) {
      to.readFrom(source);
      EXPECT_EQ(to.nUnread(), before + 5);
      to.skip(before);
      EXPECT_EQ(to.readU32(), 0x626c6f63u);
    } else {
      EXPECT_EQ(thrownBy([&] { to.readFrom(source); }), ": Too much data for InStream buffer");
      EXPECT_EQ(to.nUnread(), before);
    }
  }
  ChunkedIn to("", 1, 8), huge("\xff\xff\xff\xff", 4), cut(std::string("\0\0\0\5bl", 6), 6);
  EXPECT_THROW(to.readFrom(huge), plat::Exception);
  EXPECT_THROW(to.readFrom(cut), rdr::EndOfStream);
  EXPECT_EQ(to.nUnread(), 0);
}

TEST(BufferedInStream, movingTakesTheBufferAlong) {
  ChunkedIn first("abcdef", 4);
  EXPECT_EQ(first.readU8(), 'a');
  ChunkedIn second(std::move(first));
  EXPECT_EQ(second.readU32(), 0x62636465u);
  EXPECT_EQ(second.pos(), 5);
  second.rewind();
  EXPECT_EQ(second.readU8(), 'a');
  EXPECT_EQ(first.nUnread(), 0);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(thrownBy([&] { first.readU8(); }), ": InStream overrun: buffer size exceeded");
}

TEST(BufferedInStream, traceDumpsEveryBlockRead) {
  ChunkedIn in("AB\n", 2);
  in.setTrace(true);
  testing::internal::CaptureStderr();
  in.skip(3);
  const std::string dump = testing::internal::GetCapturedStderr();
  EXPECT_EQ(dump.substr(0, 11), " <-- 41 42 ");
  EXPECT_NE(dump.find("\n <-- 0a "), std::string::npos);
}
