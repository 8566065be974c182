#pragma once

#include "base/rdr/FramedInStream.h"

namespace rdr {

// Reads what OutStreamV4 wrote.
class InStreamV4 : public FramedInStream {
 public:
  explicit InStreamV4(InStream* newUnderlying) : FramedInStream(newUnderlying) {}

 protected:
  void readHeader(int* size, bool* last, bool firstFrame) override;
};

}  // namespace rdr
