#include "base/rdr/InStream.h"

#include <gtest/gtest.h>

#include "tests/support/streams.h"

using fakes::bytesOf;
using fakes::ChunkedIn;
using fakes::thrownBy;

namespace {

std::string lengthWord(uint32_t length) {
  rdr::MemOutStream out;
  out.writeU32(length);
  return bytesOf(out);
}

}  // namespace

TEST(InStream, primitivesReadBigEndianThroughEveryWindow) {
  const std::string bytes("\xfe\x80\x12\x34\xff\xfe\x89\xab\xcd\xef\x80\0\0\1\2tu\0\0\0\3xyz", 25);
  for (int window : {1, 2, 3, 4, 5, 100}) {
    for (int bufSize : {1, 2, 3, 7, 64}) {
      SCOPED_TRACE(testing::Message() << window << " of " << bufSize);
      ChunkedIn in(bytes, window, bufSize);
      in.setRewindable(false);
      EXPECT_EQ(in.readU8(), 0xfe);
      EXPECT_EQ(in.readS8(), -128);
      EXPECT_EQ(in.readU16(), 0x1234);
      EXPECT_EQ(in.readS16(), -2);
      EXPECT_EQ(in.readU32(), 0x89abcdefu);
      EXPECT_EQ(in.readS32(), INT32_MIN + 1);
      EXPECT_EQ(in.readStdStringU8(), "tu");
      EXPECT_EQ(in.readStdString(3), "xyz");
      EXPECT_EQ(in.pos(), 24);
      EXPECT_EQ(thrownBy([&] { in.readU16(); }), "EndOfStream: End of ChunkedIn");
    }
  }
}

TEST(InStream, stringLengthIsCheckedBeforeTheTextIsRead) {
  struct {
    uint32_t length;
    int maxLen;
  } const tooLong[] = {{1, 0}, {6, 5}, {0x80000000u, INT_MAX}, {0xffffffffu, INT_MAX}, {0, -1}};
  for (const auto& row : tooLong) {
    ChunkedIn in(lengthWord(row.length) + "hello!", 100);
    EXPECT_EQ(thrownBy([&] { in.readString(row.maxLen); }),
              "StringTooLongException: String exceeds maximum length");
    EXPECT_EQ(in.pos(), 4);
  }
  ChunkedIn in(lengthWord(0) + lengthWord(5) + "hello", 100);
  EXPECT_EQ(in.readStdString(0), "");
  EXPECT_EQ(in.readStdString(5), "hello");
}

TEST(InStream, badUtf8IsRepairedOnlyOnRequest) {
  const std::string bad("a\xff\0b\xc3", 5);
  for (bool validate : {false, true}) {
    ChunkedIn in(std::string("\5") + bad + bad + "\n", 2);
    EXPECT_EQ(in.readStdStringU8(validate),
              validate ? std::string("a\xef\xbf\xbd\0b\xef\xbf\xbd", 9) : bad);
    std::string line;
    EXPECT_EQ(in.readLine(line, 0, nullptr, validate), !validate);
    EXPECT_EQ(line.size(), validate ? 9u : 5u);
  }
}

TEST(InStream, linesEndAtLineFeedOrAtTheEnd) {
  for (int window : {1, 2, 100}) {
    SCOPED_TRACE(window);
    ChunkedIn in("abc\r\n\n\r1\r2\nlast", window);
    std::string line = "old";
    for (const char* expected : {"abc", "", "12", "last"}) {
      EXPECT_TRUE(in.readLine(line, 4, nullptr));
      EXPECT_EQ(line, expected);
    }
    EXPECT_THROW(in.readLine(line, 4, nullptr), rdr::EndOfStream);
  }
}

TEST(InStream, lineAboveTheMaximumIsRefused) {
  struct {
    size_t length;
    int maxLen;
    bool fits;
  } const rows[] = {{3, 3, true}, {4, 3, false}, {262144, 0, true}, {262145, 0, false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.length);
    ChunkedIn in(std::string(row.length, 'x') + "\r\n", 5000);
    in.setRewindable(false);
    std::string line;
    if (row.fits) {
      EXPECT_TRUE(in.readLine(line, row.maxLen, nullptr));
      EXPECT_EQ(line.size(), row.length);
    } else {
      EXPECT_THROW(in.readLine(line, row.maxLen, nullptr), rdr::StringTooLongException);
      EXPECT_TRUE(line.empty());
    }
  }
}

TEST(InStream, boundedRandomValueSkipsTheBiasedOnesNineTimesAtMost) {
  // 2^32 mod 3 is 1: the value 0 alone is below the threshold.
  ChunkedIn in(lengthWord(0) + lengthWord(0) + lengthWord(5) + std::string(36, '\0') +
                   lengthWord(0xffffffffu),
               100);
  EXPECT_EQ(in.readBoundedU32(3), 2u);
  EXPECT_EQ(in.pos(), 12);
  EXPECT_EQ(in.readBoundedU32(3), 0u);
  EXPECT_EQ(in.pos(), 48);
  EXPECT_EQ(in.readBoundedU32(0), 0xffffffffu);
}
