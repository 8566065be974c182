#include <gtest/gtest.h>

#include "base/rdr/InStreamV4.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/OutStreamV4.h"
#include "tests/support/streams.h"

using fakes::bytesOf;
using fakes::ChunkedIn;
using fakes::patternBytes;
using fakes::thrownBy;

namespace {

std::string frame(const std::string& data, bool last) {
  const size_t header = data.size() | (last ? 0x8000 : 0);
  return std::string{static_cast<char>(header >> 8), static_cast<char>(header)} + data;
}

void write(rdr::OutStream& out, const std::string& bytes) {
  out.writeBytes(bytes.data(), static_cast<int>(bytes.size()));
}

std::string read(rdr::InStream& in, size_t length) {
  std::string bytes(length, '\0');
  in.readBytes(bytes.data(), static_cast<int>(length));
  return bytes;
}

struct Collected : rdr::FramedInStream::Sink {
  std::string bytes;
  void write(const uint8_t* data, int length) override {
    bytes.append(reinterpret_cast<const char*>(data), static_cast<size_t>(length));
  }
};

}  // namespace

TEST(FramedOutStream, framesEndAtTheirMaximumAndWhereTheWindowEnds) {
  struct {
    int capacity;
    size_t length;
    std::vector<size_t> frames;
  } table[] = {
      {256, 0, {0}},
      {7, 5, {5}},
      {1, 1, {1}},
      {50000, 32766, {32766}},
      {50000, 32767, {32766, 1}},
      // The memory doubles from 16 bytes on.
      {16, 100, {14, 14, 30, 42}},
      // No frame begins where only a header fits.
      {20, 40, {18, 18, 4}},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(testing::Message() << row.capacity << " " << row.length);
    rdr::MemOutStream out(row.capacity);
    rdr::OutStreamV4 framed(&out);
    framed.startMsg();
    const std::string bytes = patternBytes(row.length);
    write(framed, bytes);
    framed.endMsg(false);
    EXPECT_EQ(framed.length(), static_cast<int>(row.length));
    std::string expected;
    size_t offset = 0;
    for (size_t length : row.frames) {
      expected += frame(bytes.substr(offset, length), offset + length == row.length);
      offset += length;
    }
    EXPECT_EQ(bytesOf(out), expected);
  }
}

TEST(FramedOutStream, itemsStayWholeWhereverTheWindowEnds) {
  for (int capacity = 0; capacity < 20; ++capacity) {
    rdr::MemOutStream out(capacity);
    rdr::OutStreamV4 framed(&out);
    framed.startMsg();
    framed.writeU8(1);
    framed.writeU32(0x02030405);
    framed.writeU16(0x0607);
    framed.endMsg(false);
    rdr::MemInStream in(out.data(), out.length());
    rdr::InStreamV4 reader(&in);
    reader.startMsg(true);
    EXPECT_EQ(read(reader, 7), "\1\2\3\4\5\6\7") << capacity;
    reader.endMsg();
  }
}

TEST(FramedInStream, anyWindowGivesTheMessagesData) {
  // Items lie across frames, and frames across windows.
  const std::string data = patternBytes(70000);
  for (size_t size : {1, 2, 3, 5, 1000, 32767}) {
    std::string stream;
    for (size_t at = 0; at < data.size(); at += size) stream += frame(data.substr(at, size), false);
    stream += frame("", false) + frame("", true) + frame("next", true) + "rest";
    for (int window : {1, 2, 3, 16800}) {
      if (size * static_cast<size_t>(window) < 5) continue;
      SCOPED_TRACE(testing::Message() << size << " " << window);
      ChunkedIn in(stream, window);
      rdr::InStreamV4 framed(&in);
      framed.setRewindable(false);
      ASSERT_TRUE(framed.startMsg(true));
      std::string got;
      for (int i = 0; i < 6; ++i) {
        const uint32_t word = htobe32(framed.readU32());
        got.append(reinterpret_cast<const char*>(&word), 4);
        char scratch[7];
        int items = 3;
        const uint8_t* bytes = framed.getItemsOrCopy(scratch, 7, &items);
        got.append(reinterpret_cast<const char*>(bytes), static_cast<size_t>(items) * 7);
        EXPECT_EQ(framed.pos(), static_cast<int>(got.size()));
      }
      EXPECT_EQ(thrownBy([&] { framed.endMsg(); }),
                "FrameException: FramedInStream::endMsg: data left in msg");
      Collected rest;
      framed.copyMsg(rest);
      EXPECT_TRUE(got + rest.bytes == data);
      EXPECT_TRUE(framed.atEnd());
      EXPECT_EQ(thrownBy([&] { framed.readU8(); }), "EndOfMsg: End of message");
      framed.endMsg();
      ASSERT_TRUE(framed.startMsg(true));
      framed.skipMsg();
      framed.endMsg();
      EXPECT_EQ(framed.pos(), 70004);
      EXPECT_EQ(read(in, 4), "rest");
    }
  }
}

// The source used to go back to before a header, which then came as data.
TEST(FramedInStream, headerIsNoDataForAStreamThatIsNotRewindable) {
  for (size_t step : {1, 2, 3}) {
    ChunkedIn in(frame("ab", false) + frame("", false) + frame("cde", true), 100);
    rdr::InStreamV4 framed(&in);
    framed.setRewindable(false);
    std::string got;
    for (in.arrived = step; got.size() < 5; in.arrived += step) {
      ASSERT_LT(in.arrived, 20u);
      try {
        if (!framed.startMsg(false)) continue;
        while (got.size() < 5) got += static_cast<char>(framed.readU8());
      } catch (const rdr::BlockException&) {
      }
    }
    EXPECT_EQ(got, "abcde") << step;
  }
}

TEST(FramedInStream, restLargerThanTheBufferIsSkippedAndCopied) {
  for (bool copied : {false, true}) {
    ChunkedIn in(frame(patternBytes(200), false) + frame("x", true), 100, 16);
    rdr::InStreamV4 framed(&in);
    ASSERT_TRUE(framed.startMsg(true));
    Collected rest;
    copied ? framed.copyMsg(rest) : framed.skipMsg();
    framed.endMsg();
    EXPECT_EQ(framed.pos(), 201);
    EXPECT_EQ(rest.bytes, copied ? patternBytes(200) + "x" : "");
  }
}

TEST(FramedOutStream, startThatFailsLeavesNoMessageOpen) {
  fakes::FailingOut out(0, 16);
  write(out, patternBytes(16));
  rdr::OutStreamV4 framed(&out);
  EXPECT_THROW(framed.startMsg(), plat::SystemException);
  out.room = INT_MAX;
  framed.startMsg();
  framed.endMsg(true);
  EXPECT_EQ(out.delivered, patternBytes(16) + frame("", true));
}

TEST(FramedInStream, messageIsReadAgainFromItsStartWhenMoreHasArrived) {
  const std::string stream = frame("", true) + frame("ab", false) + frame("", false) +
                             frame("cdef", false) + frame("g", false) + frame("", true);
  for (size_t step : {1, 2, 3, 7}) {
    SCOPED_TRACE(step);
    ChunkedIn in(stream, 100);
    rdr::InStreamV4 framed(&in);
    std::string messages;
    size_t tries = 0;
    for (in.arrived = 0; messages != "//abcdefg"; in.arrived += step) {
      ASSERT_LE(++tries, stream.size() + 2);
      try {
        while (messages != "//abcdefg" && framed.startMsg(false)) {
          std::string message = "/";
          const int start = framed.pos();
          if (!framed.atEnd()) {
            message += read(framed, 1);
            EXPECT_EQ(framed.pos(), start + 1);
            EXPECT_EQ(framed.readU32(), 0x62636465u);
            message += "bcde" + read(framed, 2);
          }
          framed.endMsg();
          messages += message;
        }
      } catch (const rdr::BlockException&) {
        EXPECT_EQ(framed.pos(), 0);
      }
    }
    EXPECT_GE(tries, stream.size() / step);
  }
}
