#include "base/rdr/ZlibOutStream.h"

#include <gtest/gtest.h>

#include "tests/support/Inflater.h"
#include "tests/support/streams.h"

using fakes::bytesOf;
using fakes::Inflater;
using fakes::patternBytes;
using fakes::thrownBy;

namespace {

const char* const noUnderlying = ": ZlibOutStream: no underlying stream";

void write(rdr::OutStream& out, const std::string& bytes) {
  out.writeBytes(bytes.data(), static_cast<int>(bytes.size()));
}

// Starts with `first` free bytes and makes room for `window` whenever it is asked.
class Windows : public rdr::OutStream {
 public:
  Windows(int first, int newWindow) : window(newWindow) { widen(first); }

  int length() const override { return static_cast<int>(ptr - block); }
  int freeSpace() const override { return 1000; }
  int overrun(int itemSize, int nItems) override {
    EXPECT_LT(nFree(), 6);
    EXPECT_EQ(itemSize, 6);
    EXPECT_EQ(nItems, 1);
    widen(std::max(window, itemSize));
    return 1;
  }
  std::string bytes() const { return {reinterpret_cast<const char*>(block), size_t(length())}; }

 private:
  void widen(int room) {
    if (!ptr) ptr = block;
    end = ptr + room;
  }

  int window;
  uint8_t block[100000];
};

}  // namespace

TEST(ZlibOutStream, outputOfAnyWindowInflatesToTheInput) {
  std::string bytes = patternBytes(40000);
  srand(1);
  for (size_t i = 0; i < 20000; ++i) bytes[i] = static_cast<char>(rand());
  for (int first : {0, 5, 6}) {
    for (int window : {6, 7, 100, 50000}) {
      for (int bufSize : {1, 1000, 0}) {
        SCOPED_TRACE(testing::Message() << first << " " << window << " " << bufSize);
        Windows out(first, window);
        rdr::ZlibOutStream zlib(&out, bufSize);
        Inflater inflater;
        write(zlib, bytes.substr(0, 30000));
        zlib.flush();
        write(zlib, bytes.substr(30000));
        EXPECT_EQ(zlib.length(), 40000);
        zlib.flush(true);
        EXPECT_EQ(inflater.take(out.bytes()), bytes);
        EXPECT_EQ(zlib.freeSpace(), 500);
      }
    }
  }
}

TEST(ZlibOutStream, headerTellsFormatAndLevel) {
  struct {
    int level;
    bool raw;
    std::string start;
  } table[] = {{-1, false, "\x78\x9c"}, {1, false, "\x78\x01"}, {9, false, "\x78\xda"}};
  for (const auto& row : table) {
    rdr::MemOutStream out;
    rdr::ZlibOutStream zlib(&out, 0, row.level, row.raw);
    zlib.writeU8('x');
    zlib.flush();
    EXPECT_EQ(bytesOf(out).substr(0, 2), row.start);
  }
  rdr::MemOutStream out;
  rdr::ZlibOutStream zlib(&out, 0, -1, true);
  write(zlib, "raw");
  zlib.flush();
  EXPECT_EQ(Inflater(true).take(bytesOf(out)), "raw");
  EXPECT_EQ(thrownBy([&] { rdr::ZlibOutStream(&out, 0, 10); }),
            ": ZlibOutStream: deflateInit failed");
}

TEST(ZlibOutStream, flushWithNothingNewMakesNoOutput) {
  rdr::MemOutStream out;
  rdr::ZlibOutStream zlib(&out);
  zlib.flush(true);
  EXPECT_EQ(out.length(), 0);
  zlib.writeU8('x');
  zlib.flush();
  const int afterSync = out.length();
  zlib.flush();
  EXPECT_EQ(out.length(), afterSync);
  zlib.flush(true);  // stronger than what was done
  const int afterFull = out.length();
  EXPECT_GT(afterFull, afterSync);
  zlib.flush(true);
  zlib.flush();
  EXPECT_EQ(out.length(), afterFull);
}

TEST(ZlibOutStream, withoutUnderlyingStreamOnlyTheBufferTakesBytes) {
  rdr::ZlibOutStream zlib;
  EXPECT_EQ(zlib.nFree(), 16384);
  write(zlib, patternBytes(16384));
  EXPECT_EQ(thrownBy([&] { zlib.writeU8(0); }), noUnderlying);
  EXPECT_EQ(thrownBy([&] { zlib.flush(); }), noUnderlying);
  EXPECT_EQ(thrownBy([&] { zlib.innermost(); }), noUnderlying);
  rdr::MemOutStream out;
  zlib.setUnderlying(&out);
  EXPECT_EQ(zlib.overrun(5, 10000), 16384 / 5);
  EXPECT_EQ(thrownBy([&] { zlib.overrun(16385, 1); }),
            ": ZlibOutStream overrun: max itemSize exceeded");
  EXPECT_EQ(zlib.innermost(), &out);
  zlib.flush();
  EXPECT_EQ(Inflater().take(bytesOf(out)), patternBytes(16384));
}

TEST(ZlibOutStream, streamGoesOnInAnotherUnderlyingStreamUntilReset) {
  rdr::MemOutStream first, second, third, fourth;
  rdr::ZlibOutStream zlib(&first);
  write(zlib, "one ");
  zlib.flush();
  write(zlib, "two");
  zlib.setUnderlying(&second);
  zlib.flush();
  Inflater inflater;
  EXPECT_EQ(inflater.take(bytesOf(first) + bytesOf(second)), "one two");

  write(zlib, "dropped");
  zlib.setUnderlying(&third);
  zlib.reset();
  zlib.flush();
  EXPECT_EQ(third.length(), 0);
  EXPECT_EQ(zlib.length(), 14);
  write(zlib, "new");
  zlib.flush();
  EXPECT_EQ(Inflater().take(bytesOf(third)), "new");

  write(zlib, "kept");
  zlib.setUnderlying(&fourth);
  zlib.resetDeflate();
  zlib.flush();
  EXPECT_EQ(Inflater().take(bytesOf(fourth)), "kept");
}

TEST(ZlibOutStream, failureOfTheUnderlyingStreamPassesThroughAndResetRecovers) {
  rdr::MemOutStream out(0, 8);
  rdr::ZlibOutStream zlib(&out);
  write(zlib, patternBytes(1000));
  EXPECT_EQ(thrownBy([&] { zlib.flush(); }), "OutStreamFull: OutStream full");
  zlib.reset();
  out.truncate(0);
  out.setMaxSize(0);
  write(zlib, "again");
  zlib.flush();
  EXPECT_EQ(Inflater().take(bytesOf(out)), "again");
}
