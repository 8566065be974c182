#include "base/rdr/ZlibOutStream.h"

#include <gtest/gtest.h>

#include "tests/support/Inflater.h"
#include "tests/support/streams.h"

using fakes::bytesOf;
using fakes::Inflater;
using fakes::patternBytes;

namespace {

void write(rdr::OutStream& out, const std::string& bytes) {
  out.writeBytes(bytes.data(), static_cast<int>(bytes.size()));
}

// Starts with `first` free bytes and makes room for `window` whenever it is asked.
class Windows : public rdr::OutStream {
 public:
  Windows(int first, int newWindow) : window(newWindow) { widen(first); }

  int length() const override { return static_cast<int>(ptr - block); }
  int freeSpace() const override { return 1000; }
  int overrun(int itemSize, int) override {
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
  for (int first : {5, 6}) {
    for (int window : {6, 7, 100, 50000}) {
      for (int bufSize : {1, 1000, 0}) {
        SCOPED_TRACE(testing::Message() << first << " " << window << " " << bufSize);
        Windows out(first, window);
        rdr::ZlibOutStream zlib(&out, bufSize);
        Inflater inflater;
        write(zlib, bytes.substr(0, 30000));
        zlib.flush();
        write(zlib, bytes.substr(30000));
        zlib.flush(true);
        EXPECT_EQ(inflater.take(out.bytes()), bytes);
      }
    }
  }
}

TEST(ZlibOutStream, flushWithNothingNewMakesNoOutput) {
  rdr::MemOutStream out;
  rdr::ZlibOutStream zlib(&out);
  zlib.flush(true);
  EXPECT_EQ(out.length(), 0);
  zlib.writeU8('x');
  zlib.flush();
  const int afterSync = out.length();
  zlib.flush(true);  // stronger than what was done
  const int afterFull = out.length();
  EXPECT_GT(afterFull, afterSync);
  zlib.flush();
  EXPECT_EQ(out.length(), afterFull);
}

TEST(ZlibOutStream, resetRecoversFromAFailureOfTheUnderlyingStream) {
  rdr::MemOutStream full(0, 8), next;
  rdr::ZlibOutStream zlib(&full);
  write(zlib, patternBytes(1000));
  EXPECT_THROW(zlib.flush(), rdr::OutStreamFull);
  zlib.setUnderlying(&next);
  zlib.reset();
  write(zlib, "new");
  zlib.flush();
  EXPECT_EQ(Inflater().take(bytesOf(next)), "new");
}
