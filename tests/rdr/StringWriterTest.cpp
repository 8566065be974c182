#include "base/rdr/StringWriter.h"

#include <gtest/gtest.h>

#include "tests/support/streams.h"

using fakes::bytesOf;

TEST(StringWriter, textStaysTerminatedButTheNulIsNotCounted) {
  for (int capacity : {0, 1, 2, 3, 10, 256}) {
    SCOPED_TRACE(capacity);
    rdr::MemOutStream out(capacity);
    rdr::StringWriter writer(out);
    std::string expected;
    auto check = [&](const char* added) {
      expected += added;
      EXPECT_EQ(bytesOf(out), expected);
      EXPECT_STREQ(reinterpret_cast<const char*>(out.data()), expected.c_str());
    };
    writer.append("ab");
    check("ab");
    writer.append("e\0f", 3);
    check("e");
    writer.appendf("<%d|%s>", 12345, "a longer text than the format");
    check("<12345|a longer text than the format>");
    writer.appendChars(0x20ac, 2);
    check("\xe2\x82\xac\xe2\x82\xac");
    writer.appendChars('x', -1);
    check("");
  }
}

TEST(StringWriter, failuresEndInTheStreamsRefusal) {
  rdr::MemOutStream out(-1, 1000);
  rdr::StringWriter writer(out);
  EXPECT_THROW(writer.appendf("%2000d", 1), rdr::OutStreamFull);
  // The C locale cannot express it: vsnprintf fails whatever the room.
  EXPECT_THROW(writer.appendf("%ls", L"\x20ac"), rdr::OutStreamFull);
  EXPECT_THROW(writer.appendChars(0x110000, 1), plat::Exception);
  EXPECT_EQ(out.length(), 0);
}
