#pragma once

#include "base/rdr/BufferedInStream.h"

namespace rdr {

// A buffered stream whose source can wait for data or tell that there is none.
class BufferedNonBlockableInStream : public BufferedInStream {
 public:
  // Sets the checkpoint; a non-blocking stream becomes rewindable.
  virtual void setNonBlocking(bool newNonBlocking) {
    nonBlocking = newNonBlocking;
    checkpoint();
    if (nonBlocking) rewindable = true;
  }

  // Limit of one wait for data; negative: none.
  void setTimeout(int ms) { timeoutMs = ms; }

 protected:
  using BufferedInStream::BufferedInStream;

  int timeoutMs = -1;
  bool nonBlocking = false;
};

}  // namespace rdr
