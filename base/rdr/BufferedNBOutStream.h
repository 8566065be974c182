#pragma once

#include <climits>

#include "base/rdr/BufferedOutStream.h"

namespace rdr {

// The destination never blocks, so the buffer never grows.
class BufferedNBOutStream : public BufferedOutStream {
 public:
  int freeSpace() const override { return INT_MAX; }

 protected:
  explicit BufferedNBOutStream(int size = -1)
      : BufferedOutStream(size, size < 0 ? defaultBufSize : size) {}
};

}  // namespace rdr
