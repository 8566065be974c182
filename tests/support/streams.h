#pragma once

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string>
#include <utility>

#include "base/plat/Exception.h"
#include "base/rdr/BufferedLazyOutStream.h"
#include "base/rdr/BufferedNonBlockableInStream.h"
#include "base/rdr/Exceptions.h"
#include "base/rdr/MemOutStream.h"
#include "tests/support/thrownBy.h"

namespace fakes {

inline std::string bytesOf(const rdr::MemOutStream& out) {
  return std::string(reinterpret_cast<const char*>(out.data()), static_cast<size_t>(out.length()));
}

// Bytes that are never the same at neighbouring places of a block boundary.
inline std::string patternBytes(size_t length) {
  std::string bytes(length, '\0');
  for (size_t i = 0; i < length; ++i) bytes[i] = static_cast<char>(i * 7 + (i >> 8) * 13);
  return bytes;
}

// Of the alphabet, over and over, from the one with this index on.
inline std::string letters(int from, int length) {
  std::string text;
  for (int i = 0; i < length; ++i) text += static_cast<char>('a' + (from + i) % 26);
  return text;
}

inline void writeText(rdr::OutStream& out, const std::string& bytes) {
  out.writeBytes(bytes.data(), static_cast<int>(bytes.size()));
}

inline std::string readText(rdr::InStream& in, size_t length) {
  std::string bytes(length, '\0');
  in.readBytes(bytes.data(), static_cast<int>(length));
  return bytes;
}

// Hands out its bytes at most `window` at a time. What lies beyond `arrived` has not
// come yet: reading it returns nothing, as from a non-blocking source.
class ChunkedIn : public rdr::BufferedNonBlockableInStream {
 public:
  ChunkedIn(std::string source, int maxWindow, int bufSize = -1)
      : BufferedNonBlockableInStream(bufSize), bytes(std::move(source)), window(maxWindow) {}

  size_t arrived = SIZE_MAX;

 protected:
  int readData(uint8_t* buf, int len) override {
    if (taken == bytes.size()) throw rdr::EndOfStream("End of ChunkedIn");
    size_t count = std::min<size_t>(std::min(len, window), std::min(bytes.size(), arrived) - taken);
    memcpy(buf, bytes.data() + taken, count);
    taken += count;
    return static_cast<int>(count);
  }

 private:
  std::string bytes;
  int window;
  size_t taken = 0;
};

// Takes at most `window` bytes a time and `room` altogether before it would block;
// a blocking write then delivers nothing.
class ChokedOut : public rdr::BufferedLazyOutStream {
 public:
  explicit ChokedOut(int size = -1, int maxSize = -1) : BufferedLazyOutStream(size, maxSize) {}

  std::string delivered;
  std::string asked;  // 'b' for each blocking write, 'n' for each other one
  int window = INT_MAX;
  int room = INT_MAX;

 protected:
  int writeData(const uint8_t* buf, int len, bool needWrite) override {
    asked += needWrite ? 'b' : 'n';
    int count = std::min({len, window, room});
    delivered.append(reinterpret_cast<const char*>(buf), static_cast<size_t>(count));
    if (room != INT_MAX) room -= count;
    return count;
  }
};

// Takes failAfterBytes and then fails like a full disk.
class FailingOut : public ChokedOut {
 public:
  explicit FailingOut(int failAfterBytes, int size = -1) : ChokedOut(size, size) {
    room = failAfterBytes;
  }

 protected:
  int writeData(const uint8_t* buf, int len, bool needWrite) override {
    if (room == 0) throw plat::SystemException("write", ENOSPC);
    return ChokedOut::writeData(buf, len, needWrite);
  }
};

}  // namespace fakes
