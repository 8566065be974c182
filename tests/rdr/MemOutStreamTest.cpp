#include "base/rdr/MemOutStream.h"

#include <gtest/gtest.h>

#include "tests/support/streams.h"

using fakes::bytesOf;
using fakes::patternBytes;
using fakes::thrownBy;

TEST(MemOutStream, integersAreBigEndianWhereverTheBufferEnds) {
  for (int capacity : {0, 1, 2, 3, 5, 8, -1}) {
    SCOPED_TRACE(capacity);
    rdr::MemOutStream out(capacity);
    out.writeU8(0x01);
    out.writeS8(-2);
    out.writeU16(0x0304);
    out.writeS16(-2);
    out.writeU32(0x05060708);
    out.writeS32(INT32_MIN);
    out.writeString("abc");
    out.writeString("abc", 2);
    out.writeStringU8("xy");
    EXPECT_EQ(bytesOf(out),
              std::string("\1\xfe\3\4\xff\xfe\5\6\7\x8\x80\0\0\0\0\0\0\3abc\0\0\0\2ab\2xy", 30));
  }
}

TEST(MemOutStream, shortStringIsCutAt255Bytes) {
  for (size_t length : {0, 255, 256, 300}) {
    rdr::MemOutStream out;
    out.writeStringU8(std::string(length, 'x').c_str());
    size_t kept = std::min<size_t>(length, 255);
    EXPECT_EQ(bytesOf(out), std::string(1, static_cast<char>(kept)) + std::string(kept, 'x'));
  }
}

TEST(MemOutStream, capacityDoublesOrJumpsToTheSizeNeeded) {
  rdr::MemOutStream out;
  EXPECT_EQ(out.nFree(), 256);
  out.skip(256);
  EXPECT_EQ(out.overrun(1, 1), 1);
  EXPECT_EQ(out.nFree(), 256);
  EXPECT_EQ(out.overrun(1000, 3), 3);
  EXPECT_EQ(out.nFree(), 3000);
  EXPECT_EQ(out.freeSpace(), INT_MAX);
}

TEST(MemOutStream, writingPastTheMaximumIsRefusedWhole) {
  for (int capacity : {0, 4, 10, 256}) {
    SCOPED_TRACE(capacity);
    rdr::MemOutStream out(capacity, 10);
    EXPECT_EQ(out.freeSpace(), 10);
    out.writeBytes("0123456", 7);
    EXPECT_EQ(thrownBy([&] { out.writeBytes("789a", 4); }), "OutStreamFull: OutStream full");
    EXPECT_THROW(out.writeU32(0), rdr::OutStreamFull);
    out.writeBytes("789", 3);
    EXPECT_THROW(out.writeU8(0), rdr::OutStreamFull);
    EXPECT_EQ(bytesOf(out), "0123456789");
    EXPECT_EQ(out.freeSpace(), 0);

    out.nulTerminate();
    out.nulTerminate();
    EXPECT_EQ(bytesOf(out), std::string("0123456789\0", 11));
    EXPECT_THROW(out.writeU8(0), rdr::OutStreamFull);
    out.setMaxSize(12);
    out.writeU8('c');
    EXPECT_THROW(out.writeU8('d'), rdr::OutStreamFull);
    out.truncate(3);
    out.setMaxSize(0);
    out.writeBytes(patternBytes(1000).data(), 1000);
    EXPECT_EQ(bytesOf(out), "012" + patternBytes(1000));
  }
}

TEST(MemOutStream, overrunPromisesNoItemBeyondTheLimit) {
  rdr::MemOutStream out(0, 100);
  out.skip(10);
  EXPECT_EQ(out.overrun(10, INT_MAX), 9);
  EXPECT_EQ(out.overrun(7, 3), 3);
  EXPECT_THROW(out.overrun(INT_MAX, INT_MAX), rdr::OutStreamFull);
  rdr::MemOutStream unlimited;
  unlimited.skip(1);
  EXPECT_THROW(unlimited.overrun(INT_MAX, 1), rdr::OutStreamFull);
}

TEST(MemOutStream, takenBufferLeavesTheStreamEmptyAndUsable) {
  rdr::MemOutStream out;
  EXPECT_EQ(bytesOf(out), "");
  for (const char* text : {"first", "second"}) {
    out.writeBytes(text, static_cast<int>(strlen(text)));
    EXPECT_TRUE(out.takeText() == text);
    out.writeBytes(text, 5);
    plat::MBuf<unsigned char> block = out.takeBlock();
    ASSERT_EQ(block.size(), 5);
    EXPECT_EQ(memcmp(block.data(), text, 5), 0);
    EXPECT_EQ(out.length(), 0);
    EXPECT_EQ(out.takeBuffer(), nullptr);
  }
}
