#pragma once

#include "base/rdr/InStream.h"

namespace rdr {

// Reads a block that the caller owns and keeps for as long as the stream is used.
class MemInStream : public InStream {
 public:
  // Precondition: len >= 0.
  MemInStream(const void* data, int len);

  int pos() const override { return static_cast<int>(ptr - start); }
  bool atEnd() override { return ptr == end; }

 protected:
  bool fill(int itemSize) override;  // throws EndOfStream

 private:
  const uint8_t* start;
};

}  // namespace rdr
