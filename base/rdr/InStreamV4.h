#pragma once

#include "base/rdr/FramedInStream.h"

namespace rdr {

// Reads what OutStreamV4 wrote.
class InStreamV4 : public FramedInStream {
 public:
  explicit InStreamV4(InStream* newUnderlying) : FramedInStream(newUnderlying) {}

 protected:
  void readHeader(int* size, bool* last, bool) override {
    const uint16_t header = source().readU16();
    *size = header & 0x7fff;
    *last = (header & 0x8000) != 0;
  }
};

}  // namespace rdr
