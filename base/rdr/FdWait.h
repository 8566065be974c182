#pragma once

#include "base/plat/time.h"

namespace rdr {

// Waits for one descriptor with select(), all waits together for at most limitMs
// (negative: no limit) from the first one on. Both return false when the time has
// run out, and throw plat::SystemException "select": for a descriptor that select()
// cannot take (1024 and above) with EMFILE.
class FdWait {
 public:
  FdWait(int descriptor, int limitMs) : fd(descriptor), timeoutMs(limitMs) {}

  bool untilReadable();
  bool untilWritable();

 private:
  bool wait(bool forWriting);

  int fd;
  int timeoutMs;
  bool started = false;
  plat::Ticks deadline = plat::noLimit;
};

}  // namespace rdr
