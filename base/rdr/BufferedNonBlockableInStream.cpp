#include "base/rdr/BufferedNonBlockableInStream.h"

namespace rdr {

BufferedNonBlockableInStream::BufferedNonBlockableInStream(int bufSize, int newTimeoutMs)
    : BufferedInStream(bufSize), timeoutMs(newTimeoutMs) {}

void BufferedNonBlockableInStream::setNonBlocking(bool newNonBlocking) {
  nonBlocking = newNonBlocking;
  checkpoint();
  if (nonBlocking) rewindable = true;
}

}  // namespace rdr
