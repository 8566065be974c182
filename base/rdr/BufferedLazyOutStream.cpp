#include "base/rdr/BufferedLazyOutStream.h"

namespace rdr {

void BufferedLazyOutStream::setLazy(bool lazy) {
  blocking = !lazy;
  flushBuffer(blocking);
}

}  // namespace rdr
