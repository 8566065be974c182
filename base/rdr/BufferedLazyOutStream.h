#pragma once

#include "base/rdr/BufferedOutStream.h"

namespace rdr {

class BufferedLazyOutStream : public BufferedOutStream {
 public:
  // A lazy stream delivers what the destination takes now and keeps the rest, up to
  // the maximum of its buffer. Delivers the pending bytes in the new mode.
  virtual void setLazy(bool lazy) {
    blocking = !lazy;
    flushBuffer(blocking);
  }

 protected:
  using BufferedOutStream::BufferedOutStream;
};

}  // namespace rdr
