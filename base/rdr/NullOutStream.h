#pragma once

#include "base/rdr/BufferedNBOutStream.h"

namespace rdr {

// Counts what is written and drops it.
class NullOutStream : public BufferedNBOutStream {
 public:
  NullOutStream() : BufferedNBOutStream(1024) {}
  void writeBytes(const void*, int len) override {
    if (len > 0) advanceOffset(len);
  }

 protected:
  int writeData(const uint8_t*, int len, bool) override { return len; }
};

}  // namespace rdr
