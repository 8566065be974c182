#pragma once

#include "base/rdr/BufferedInStream.h"

namespace rdr {

// A buffered stream whose source can wait for data or tell that there is none.
class BufferedNonBlockableInStream : public BufferedInStream {
 public:
  // Sets the checkpoint; a non-blocking stream becomes rewindable.
  virtual void setNonBlocking(bool newNonBlocking);

  // Limit of one wait for data; negative: none.
  void setTimeout(int ms) { timeoutMs = ms; }

 protected:
  explicit BufferedNonBlockableInStream(int bufSize = -1, int timeoutMs = -1);

  int timeoutMs;
  bool nonBlocking = false;
};

}  // namespace rdr
