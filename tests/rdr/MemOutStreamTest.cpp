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
    out.writeString("abc", 2);
    out.writeStringU8("xy");
    EXPECT_EQ(bytesOf(out), std::string("\1\xfe\3\4\xff\xfe\5\6\7\x8\x80\0\0\0\0\0\0\2ab\2xy", 23));
  }
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
    EXPECT_EQ(out.freeSpace(), 0);

    out.nulTerminate();
    out.nulTerminate();
    EXPECT_EQ(bytesOf(out), std::string("0123456789\0", 11));
    EXPECT_THROW(out.writeU8(0), rdr::OutStreamFull);
    out.truncate(3);
    out.setMaxSize(0);
    out.writeBytes(patternBytes(1000).data(), 1000);
    EXPECT_EQ(bytesOf(out), "012" + patternBytes(1000));
  }
}
