#include "base/rdr/NullOutStream.h"

namespace rdr {

NullOutStream::NullOutStream() : BufferedNBOutStream(1024) {}

void NullOutStream::writeBytes(const void*, int len) {
  if (len > 0) advanceOffset(len);
}

int NullOutStream::writeData(const uint8_t*, int len, bool) {
  return len;
}

}  // namespace rdr
