#pragma once

#include "base/rdr/BufferedNBOutStream.h"

namespace rdr {

// Counts what is written and drops it.
class NullOutStream : public BufferedNBOutStream {
 public:
  NullOutStream();
  void writeBytes(const void* data, int len) override;

 protected:
  int writeData(const uint8_t* buf, int len, bool needWrite) override;
};

}  // namespace rdr
