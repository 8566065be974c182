#pragma once

#include "base/rdr/FramedOutStream.h"

namespace rdr {

// Frames with a header of 2 bytes, big-endian: bit 15 is set on the last frame of the
// message, bits 14 to 0 are the number of data bytes that follow.
class OutStreamV4 : public FramedOutStream {
 public:
  static constexpr int largestFrame = 32766;  // bytes of data

  explicit OutStreamV4(OutStream* newUnderlying)
      : FramedOutStream(newUnderlying, largestFrame, 2) {}

 protected:
  void writeHeader(int length, bool lastFrame, bool) override {
    writeU16(static_cast<uint16_t>((lastFrame ? 0x8000 : 0) | length));
  }
};

}  // namespace rdr
