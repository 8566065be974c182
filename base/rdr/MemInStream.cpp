#include "base/rdr/MemInStream.h"

#include "base/rdr/Exceptions.h"

namespace rdr {

MemInStream::MemInStream(const void* data, int len) : start(static_cast<const uint8_t*>(data)) {
  ptr = start;
  end = start + len;
  checkpointPtr = start;
}

bool MemInStream::fill(int) {
  throw EndOfStream("End of in-memory input stream");
}

}  // namespace rdr
