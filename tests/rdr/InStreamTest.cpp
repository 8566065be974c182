// The input streams in memory: what the fuzz targets inStream and framed do not reach.
#include "base/rdr/InStream.h"

#include <gtest/gtest.h>

#include "base/rdr/InStreamV4.h"
#include "tests/support/streams.h"

using namespace fakes;
using namespace std::string_literals;

TEST(InStream, textAboveItsMaximumIsRefused) {
  const std::string most(262144, 'x');
  ChunkedIn in("\0\3\xd0\0"s + most.substr(0, 249856) + most + "\n" + most + "x", 9000);
  in.setRewindable(false);
  EXPECT_TRUE(in.readStdString(249856) == most.substr(0, 249856));
  std::string line;
  EXPECT_TRUE(in.readLine(line, 0, nullptr) && line == most);
  EXPECT_EQ(thrownBy([&] { in.readLine(line, 0, nullptr); }),
            "StringTooLongException: String exceeds maximum length");
  EXPECT_EQ(line, "");
}

TEST(BufferedInStream, nonBlockingBeginsAtACheckpointToGoBackTo) {
  ChunkedIn in("abcdef", 2);
  in.setRewindable(false);
  in.skip(1);
  in.setNonBlocking(true);
  in.arrived = 3;
  in.skip(2);
  EXPECT_FALSE(in.overrun(false, 1));
  EXPECT_EQ(in.pos(), 1);
  in.skip(1);
  in.setNonBlocking(false);
  EXPECT_EQ(thrownBy([&] { in.reposition(1); }), ": Can't reposition before checkpoint");
  in.setRewindable(false);
  in.skip(1);
  EXPECT_EQ(thrownBy([&] { in.skip(1); }), ": Reading from InStream would block");
  EXPECT_EQ(in.pos(), 3);
}

TEST(BufferedInStream, readingOnWithoutACheckpointOverrunsTheBuffer) {
  const std::string bytes = patternBytes(50000);
  ChunkedIn in(bytes, 300);
  EXPECT_TRUE(readText(in, 16800) == bytes.substr(0, 16800));
  EXPECT_EQ(thrownBy([&] { in.readU8(); }), ": InStream overrun: buffer size exceeded");
  for (int at = 16800; at < 50000; at += 100) {
    EXPECT_EQ(in.checkpoint(), at);
    ASSERT_EQ(readText(in, 100), bytes.substr(static_cast<size_t>(at), 100));
  }
}

TEST(BufferedInStream, positionsWrapBeyondTwoGiB) {
  struct : rdr::BufferedInStream {
    int readData(uint8_t*, int len) override { return len; }
  } in;
  in.setRewindable(false);
  in.skip(INT_MAX - 100);
  in.setRewindable(true);
  EXPECT_EQ(in.checkpoint(), INT_MAX - 100);
  in.reposition(INT_MIN + 9);
  EXPECT_EQ(in.pos(), INT_MIN + 9);
}

TEST(BufferedInStream, movingTakesTheBufferAlong) {
  ChunkedIn first("abcd", 2);
  first.skip(1);
  first.setTrace(true);
  ChunkedIn second(std::move(first));
  testing::internal::CaptureStderr();
  EXPECT_EQ(readText(second, 3), "bcd");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), " <-- 63 64 " + std::string(46, ' ') + "cd\n");
  second.rewind();
  EXPECT_EQ(second.readU8(), 'a');
  EXPECT_THROW(first.readU8(), plat::Exception);  // NOLINT(bugprone-use-after-move)
}

TEST(FramedInStream, messageStartsWhenItsHeaderIsThere) {
  ChunkedIn in("\x80\3abc", 9), next("\x80\1d", 9);
  rdr::InStreamV4 framed(&in);
  in.arrived = 1;
  EXPECT_FALSE(framed.startMsg(false));
  EXPECT_EQ(thrownBy([&] { framed.startMsg(true); }), ": Reading from InStream would block");
  in.arrived = 4;
  EXPECT_TRUE(framed.startMsg(false) && framed.startMsg(false));
  EXPECT_EQ(thrownBy([&] { framed.endMsg(); }),
            "FrameException: FramedInStream::endMsg: data left in msg");
  framed.setUnderlying(&next);
  EXPECT_FALSE(framed.inMsg());
  framed.setRewindable(false);
  framed.rewind();
  EXPECT_TRUE(framed.startMsg(true));
  EXPECT_EQ(thrownBy([&] { framed.rewind(); }), ": Attempt to rewind a non-rewindable stream");
  std::string line;
  EXPECT_TRUE(framed.readLine(line, 0, nullptr)) << "the end of the message ends its last line";
  EXPECT_EQ(thrownBy([&] { framed.readLine(line, 0, nullptr); }), "EndOfMsg: End of message");
}
