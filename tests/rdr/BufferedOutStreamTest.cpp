#include "base/rdr/BufferedOutStream.h"

#include <gtest/gtest.h>

#include <climits>

#include "base/rdr/NullOutStream.h"
#include "tests/support/streams.h"

using fakes::ChokedOut;
using fakes::FailingOut;
using fakes::patternBytes;
using fakes::thrownBy;

TEST(BufferedOutStream, everyByteIsDeliveredInOrder) {
  const std::string bytes = patternBytes(200000);
  for (int window : {1000, 4097, INT_MAX}) {
    for (int bufSize : {1, 7, 16384, 40000}) {
      SCOPED_TRACE(testing::Message() << window << " of " << bufSize);
      ChokedOut out(bufSize, 50000);
      out.window = window;
      int piece = 1;
      for (int done = 0; done < 200000; done += piece, piece = piece * 3 % 5003) {
        piece = std::min(piece, 200000 - done);
        out.writeBytes(bytes.data() + done, piece);
        ASSERT_EQ(out.length(), done + piece);
        ASSERT_LE(out.nFree(), 16384);
        ASSERT_LE(out.pendingBytes(), bufSize);
        ASSERT_EQ(static_cast<int>(out.delivered.size()) + out.pendingBytes(), out.length());
        ASSERT_EQ(out.freeSpace() + out.pendingBytes(), 50000);
      }
      out.flush();
      EXPECT_EQ(out.pendingBytes(), 0);
      EXPECT_EQ(out.delivered, bytes);
    }
  }
}

TEST(BufferedOutStream, blockedBufferGrowsToItsMaximumAndKeepsWhatIsPending) {
  ChokedOut out(100, 350);
  const std::string bytes = patternBytes(390);
  out.room = 30;
  out.writeBytes(bytes.data(), 100);
  EXPECT_EQ(out.overrun(60, 1), 1);
  EXPECT_EQ(out.length(), 100);
  out.room = 10;
  out.writeBytes(bytes.data() + 100, 290);
  EXPECT_EQ(out.length(), 390);
  EXPECT_EQ(out.delivered.size(), 40u);
  EXPECT_EQ(out.freeSpace(), 0);
  EXPECT_EQ(thrownBy([&] { out.writeU8(0); }), ": BufferedOutStream overrun: unable to write");
  out.room = INT_MAX;
  out.writeU8(0);
  out.flush();
  EXPECT_EQ(out.delivered, bytes + std::string(1, '\0'));
}

TEST(BufferedOutStream, failedDeliveryKeepsTheRest) {
  FailingOut out(5, 16);
  out.writeBytes("0123456789", 10);
  EXPECT_EQ(thrownBy([&] { out.flush(); }).substr(0, 16), "System-28: write");
  EXPECT_EQ(out.delivered, "01234");
  EXPECT_EQ(out.pendingBytes(), 5);
}

TEST(NullOutStream, countWrapsBeyondTwoGiB) {
  rdr::NullOutStream out;
  char byte = 0;
  for (int i = 0; i < 3000; ++i) out.writeU8(0);
  out.writeBytes(&byte, INT_MAX - 3000);
  EXPECT_EQ(out.length(), INT_MAX);
  out.writeU32(0);
  EXPECT_EQ(out.length(), INT_MIN + 3);
  out.flush();
  EXPECT_EQ(out.length(), INT_MIN + 3);
  EXPECT_EQ(out.freeSpace(), INT_MAX);
}
