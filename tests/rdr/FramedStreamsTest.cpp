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

std::string pattern(size_t offset, size_t length) {
  return patternBytes(offset + length).substr(offset);
}

void write(rdr::OutStream& out, const std::string& bytes) {
  out.writeBytes(bytes.data(), static_cast<int>(bytes.size()));
}

std::string read(rdr::InStream& in, size_t length) {
  std::string bytes(length, '\0');
  in.readBytes(bytes.data(), static_cast<int>(length));
  return bytes;
}

// Never has any room.
class NoRoom : public rdr::OutStream {
 public:
  int length() const override { return 0; }
  int freeSpace() const override { return 0; }
  int overrun(int, int) override { return 0; }
};

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
      {256, 5, {5}},
      {7, 5, {5}},
      {1, 1, {1}},
      {50000, 32766, {32766}},
      {50000, 32767, {32766, 1}},
      {50000, 40000, {32766, 7234}},
      // The memory doubles from 16 bytes on.
      {16, 100, {14, 14, 30, 42}},
      // No frame begins where only a header fits.
      {18, 20, {16, 4}},
      {20, 40, {18, 18, 4}},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(testing::Message() << row.capacity << " " << row.length);
    rdr::MemOutStream out(row.capacity);
    rdr::OutStreamV4 framed(&out);
    framed.startMsg();
    write(framed, patternBytes(row.length));
    EXPECT_EQ(framed.length(), static_cast<int>(row.length));
    framed.endMsg(false);
    EXPECT_EQ(framed.length(), static_cast<int>(row.length));
    std::string expected;
    size_t offset = 0;
    for (size_t length : row.frames) {
      expected += frame(pattern(offset, length), offset + length == row.length);
      offset += length;
    }
    EXPECT_EQ(bytesOf(out), expected);
  }
}

TEST(FramedOutStream, itemsStayWholeWhereverTheWindowEnds) {
  for (int capacity = 0; capacity < 30; ++capacity) {
    SCOPED_TRACE(capacity);
    rdr::MemOutStream out(capacity);
    rdr::OutStreamV4 framed(&out);
    framed.startMsg();
    framed.writeU8(1);
    framed.writeU32(0x02030405);
    framed.writeU16(0x0607);
    framed.writeU32(0x08090a0b);
    framed.endMsg(false);
    rdr::MemInStream in(out.data(), out.length());
    rdr::InStreamV4 reader(&in);
    reader.startMsg(true);
    EXPECT_EQ(read(reader, 11), "\1\2\3\4\5\6\7\x8\x9\xa\xb");
    reader.endMsg();
    EXPECT_TRUE(in.atEnd());
  }
}

TEST(FramedOutStream, flushEndsAFrameThatHasData) {
  fakes::ChokedOut out;
  rdr::OutStreamV4 framed(&out);
  framed.flush();
  framed.startMsg();
  framed.flush();
  EXPECT_EQ(out.delivered, "");
  write(framed, "ab");
  framed.flush();
  framed.flush();
  EXPECT_EQ(out.delivered, frame("ab", false));
  framed.writeU8('c');
  framed.endMsg(false);
  EXPECT_EQ(out.delivered, frame("ab", false));
  framed.startMsg();
  framed.endMsg(true);
  EXPECT_EQ(out.delivered, frame("ab", false) + frame("c", true) + frame("", true));
  EXPECT_EQ(framed.length(), 3);
  EXPECT_EQ(framed.innermost(), &out);
  EXPECT_EQ(framed.freeSpace(), out.freeSpace() - 2);
}

TEST(FramedOutStream, callsInTheWrongOrderAreRefused) {
  rdr::MemOutStream out(100), other;
  rdr::OutStreamV4 framed(&out);
  const std::string notInFrame = "FrameException: FramedOutStream::endFrame: not in frame";
  EXPECT_EQ(thrownBy([&] { framed.endMsg(false); }),
            "FrameException: FramedOutStream::endMsg: not in frame");
  EXPECT_EQ(thrownBy([&] { framed.writeU8(1); }), notInFrame);
  framed.startMsg();
  EXPECT_EQ(thrownBy([&] { framed.startMsg(); }),
            "FrameException: FramedOutStream::startMsg: already in msg");
  framed.writeU8(1);
  framed.setUnderlying(&other);
  EXPECT_EQ(thrownBy([&] { framed.writeU8(1); }), notInFrame);
  framed.startMsg();
  framed.writeU8(2);
  framed.endMsg(false);
  EXPECT_EQ(thrownBy([&] { framed.writeU8(3); }), notInFrame);
  EXPECT_EQ(bytesOf(other), frame("\2", true));
  EXPECT_EQ(out.length(), 0);

  NoRoom noRoom;
  framed.setUnderlying(&noRoom);
  framed.startMsg();
  EXPECT_EQ(framed.length(), 1);
  EXPECT_EQ(thrownBy([&] { framed.writeU8(1); }),
            "FrameException: FramedOutStream::endFrame: no space for header");
  rdr::OutStreamV4 idle(nullptr);
  EXPECT_DEATH(idle.startMsg(), "Assertion 'underlying' failed");
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
      EXPECT_FALSE(framed.inMsg());
      ASSERT_TRUE(framed.startMsg(true));
      framed.skipMsg();
      framed.endMsg();
      EXPECT_EQ(framed.pos(), 70004);
      EXPECT_EQ(read(in, 4), "rest");
    }
  }
}

TEST(FramedInStream, emptyFramesWithinAMessageAreSkipped) {
  const std::string stream = frame("", false) + frame("", false) + frame("abc", true);
  rdr::MemInStream in(stream.data(), static_cast<int>(stream.size()));
  rdr::InStreamV4 framed(&in);
  ASSERT_TRUE(framed.startMsg(true));
  EXPECT_FALSE(framed.atEnd());
  EXPECT_EQ(read(framed, 3), "abc");
  framed.endMsg();
  EXPECT_EQ(thrownBy([&] { framed.startMsg(false); }),
            "EndOfStream: End of in-memory input stream");
  EXPECT_DEATH(framed.readU8(), "Assertion 'inMsg_' failed");
}

TEST(FramedInStream, itemWithinAFrameIsHadInPlace) {
  const std::string stream = frame("abcdef", false) + frame("gh", true);
  ChunkedIn in(stream, 3);
  rdr::InStreamV4 framed(&in);
  framed.startMsg(true);
  int items = 1;
  const uint8_t* item = framed.getItems(4, &items, true);
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(memcmp(item, "abcd", 4), 0);
  EXPECT_EQ(framed.getItems(4, &items, true), nullptr);
  EXPECT_EQ(read(framed, 4), "efgh");
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

TEST(FramedInStream, rewindGoesBackToTheCheckpointAcrossFrames) {
  const std::string stream = frame("abc", false) + frame("def", false) + frame("ghi", true);
  ChunkedIn in(stream, 4);
  rdr::InStreamV4 framed(&in);
  framed.rewind();
  EXPECT_EQ(framed.checkpoint(), 0);
  framed.startMsg(true);
  EXPECT_EQ(read(framed, 7), "abcdefg");
  framed.rewind();
  EXPECT_EQ(read(framed, 4), "abcd");
  EXPECT_EQ(framed.checkpoint(), 4);
  EXPECT_EQ(read(framed, 5), "efghi");
  EXPECT_TRUE(framed.atEnd());
  framed.rewind();
  framed.reposition(6);
  EXPECT_EQ(read(framed, 3), "ghi");
  EXPECT_EQ(thrownBy([&] { framed.reposition(3); }), ": Can't reposition before checkpoint");
  framed.setRewindable(false);
  EXPECT_EQ(thrownBy([&] { framed.rewind(); }), ": Attempt to rewind a non-rewindable stream");
  EXPECT_EQ(framed.pos(), 9);
}

TEST(FramedInStream, endOfTheSourceWithinAMessageLeavesWhatWasReadConsumed) {
  const std::string stream = frame("abcdef", true).substr(0, 6);
  ChunkedIn in(stream, 3);
  rdr::InStreamV4 framed(&in);
  framed.setRewindable(false);
  framed.startMsg(true);
  EXPECT_EQ(read(framed, 4), "abcd");
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(thrownBy([&] { framed.readU8(); }), "EndOfStream: End of ChunkedIn");
    EXPECT_EQ(framed.pos(), 4);
    EXPECT_EQ(framed.nUnread(), 0);
  }
}
