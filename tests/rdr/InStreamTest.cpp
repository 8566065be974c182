#include "base/rdr/InStream.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "base/rdr/MemInStream.h"
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

long maxResidentKb() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
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

TEST(InStream, blockedReadRewindsToTheCheckpointUntilTheMessageIsWhole) {
  const std::string message("\7\0\0\0\4text\xff\xff", 11);
  ChunkedIn in("ab" + message, 100);
  in.arrived = 2;
  in.setRewindable(false);
  in.skip(2);
  in.setNonBlocking(true);
  for (; in.arrived < 2 + message.size(); ++in.arrived) {
    SCOPED_TRACE(in.arrived);
    EXPECT_EQ(thrownBy([&] {
                in.readU8();
                in.readString(100);
                in.readU16();
              }),
              ": Reading from InStream would block");
    EXPECT_EQ(in.pos(), 2);
  }
  EXPECT_EQ(in.readU8(), 7);
  EXPECT_EQ(in.readStdString(100), "text");
  EXPECT_EQ(in.readU16(), 0xffff);
}

TEST(InStream, unwaitingGetItemsOnAnEmptySourceRewindsAndReturnsNull) {
  ChunkedIn in("abcdef", 100);
  in.setNonBlocking(true);
  in.arrived = 3;
  in.skip(2);
  int n = 1;
  EXPECT_EQ(in.getItems(2, &n, false), nullptr);
  EXPECT_EQ(in.pos(), 0);
  EXPECT_FALSE(in.overrun(false, 4));
}

TEST(InStream, blockedSourceBehindTheStreamCountsAsNothingAvailable) {
  class : public rdr::BufferedInStream {
    int readData(uint8_t*, int) override { throw rdr::BlockException(); }
  } in;
  EXPECT_FALSE(in.overrun(false, 1));
}

TEST(InStream, itemsComeWholeAndNoMoreThanAreBuffered) {
  struct {
    int itemSize, asked, expected;
  } const rows[] = {{1, 1, 1},       {1, 10, 10}, {3, 3, 3},      {3, 4, 3},
                    {4, INT_MAX, 2}, {10, 1, 1},  {1 << 20, 5, 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.asked << " of " << row.itemSize);
    ChunkedIn in("0123456789", 100, 10);
    int n = row.asked;
    const uint8_t* items = in.getItems(row.itemSize, &n, true);
    ASSERT_EQ(items != nullptr, row.expected > 0);
    if (items) {
      EXPECT_EQ(n, row.expected);
    }
    EXPECT_EQ(in.pos(), row.expected * row.itemSize);
  }
  rdr::MemInStream in("x", 1);
  int none = 0;
  EXPECT_EQ(thrownBy([&] { in.getItems(1, &none, true); }).substr(0, 41),
            "AssertionFail: Assertion '*nItems > 0' fa");
}

TEST(InStream, itemThatStraddlesTheBufferIsCopied) {
  ChunkedIn in("abcdefgh", 3, 4);
  in.setRewindable(false);
  char scratch[6];
  int n = 7;
  EXPECT_EQ(in.getItemsOrCopy(scratch, 6, &n), reinterpret_cast<uint8_t*>(scratch));
  EXPECT_EQ(n, 1);
  EXPECT_EQ(std::string(scratch, 6), "abcdef");
  n = 7;
  EXPECT_EQ(*in.getItemsOrCopy(scratch, 1, &n), 'g');
}

TEST(InStream, movingOutsideTheWindowIsAnAssertion) {
  rdr::MemInStream in("abcd", 4);
  rdr::InStream::Span span = in.getSpan(3);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(span.data), 3), "abc");
  EXPECT_NE(thrownBy([&] { in.getSpan(2); }).find("'nUnread() >= n'"), std::string::npos);
  EXPECT_THROW(in.getSpan(-1), plat::AssertionFail);
  for (const uint8_t* p : {in.getPtr() - 1, in.getEnd() + 1}) {
    EXPECT_NE(thrownBy([&] { in.setPtr(p); }).find("'p >= ptr && p <= end'"), std::string::npos);
  }
  in.setPtr(in.getEnd());
  EXPECT_TRUE(in.atEnd());
  EXPECT_EQ(thrownBy([&] { in.readU8(); }), "EndOfStream: End of in-memory input stream");
}

TEST(InStream, stringLengthIsCheckedBeforeTheTextIsRead) {
  struct {
    uint32_t length;
    int maxLen;
  } const tooLong[] = {{1, 0}, {6, 5}, {0x80000000u, INT_MAX}, {0xffffffffu, INT_MAX}, {0, -1}};
  for (const auto& row : tooLong) {
    SCOPED_TRACE(row.length);
    ChunkedIn in(lengthWord(row.length) + "hello!", 100);
    EXPECT_EQ(thrownBy([&] { in.readString(row.maxLen); }),
              "StringTooLongException: String exceeds maximum length");
    EXPECT_EQ(in.pos(), 4);
  }
  ChunkedIn in(lengthWord(0) + lengthWord(5) + "hello", 100);
  EXPECT_TRUE(in.readString(0) == "");
  EXPECT_TRUE(in.readString(5) == "hello");
}

TEST(InStream, lengthWordAloneGetsNoMemory) {
  const long before = maxResidentKb();
  ChunkedIn in(lengthWord(INT_MAX) + "short", 100);
  EXPECT_THROW(in.readString(INT_MAX), rdr::EndOfStream);
  EXPECT_LT(maxResidentKb() - before, 200 * 1024);
}

TEST(InStream, longStringArrivesInPieces) {
  const std::string text = std::string(65535, 'a') + "\xc3\xa9" + std::string(300000, 'b');
  ChunkedIn in(lengthWord(static_cast<uint32_t>(text.size())) + text, 4096);
  in.setRewindable(false);
  EXPECT_EQ(in.readStdString(INT_MAX), text);
}

TEST(InStream, badUtf8IsRepairedOnlyOnRequest) {
  const std::string bad("a\xff\0b\xc3", 5);
  for (bool validate : {false, true}) {
    ChunkedIn in(std::string("\5") + bad + bad + "\n", 2);
    EXPECT_EQ(in.readStdStringU8(validate),
              validate ? std::string("a\xef\xbf\xbd\0b\xef\xbf\xbd", 9) : bad);
    std::string line;
    bool hadNul = false;
    EXPECT_EQ(in.readLine(line, 0, &hadNul, validate), !validate);
    EXPECT_TRUE(hadNul);
    EXPECT_EQ(line.size(), validate ? 9u : 5u);
  }
}

TEST(InStream, linesEndAtLineFeedOrAtTheEnd) {
  for (int window : {1, 2, 100}) {
    SCOPED_TRACE(window);
    ChunkedIn in("abc\r\n\n\r1\r2\nlast", window);
    std::string line = "old";
    bool hadNul = true;
    for (const char* expected : {"abc", "", "12", "last"}) {
      EXPECT_TRUE(in.readLine(line, 4, &hadNul));
      EXPECT_EQ(line, expected);
      EXPECT_FALSE(hadNul);
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

TEST(InStream, firstZeroByteIsFoundAcrossWindows) {
  for (int window : {1, 2, 100}) {
    ChunkedIn in(std::string("ab\0c\0def", 8), window);
    char buf[5];
    EXPECT_EQ(in.readBytesFindNul(buf, 5), 2);
    EXPECT_EQ(std::string(buf, 5), std::string("ab\0c\0", 5));
    EXPECT_EQ(in.readBytesFindNul(buf, 3), -1);
    EXPECT_EQ(in.readBytesFindNul(buf, 0), -1);
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
