#pragma once

#include "base/rdr/BufferedNonBlockableInStream.h"

namespace rdr {

// Reads a descriptor, which the owner keeps in the matching blocking mode. Throws
// EndOfStream "End of IO stream", plat::TimedOut "Timed out" and
// plat::SystemException "read" or "select" (also for a descriptor of 1024 or more
// that would have to be waited for).
class FdInStream : public BufferedNonBlockableInStream {
 public:
  explicit FdInStream(int descriptor, int bufSize = -1);
  FdInStream(FdInStream&& other) noexcept;  // leaves other with descriptor -1
  ~FdInStream() override;

  int getFd() const { return fd; }
  void setCloseOnDestroy(bool close) { closeOnDestroy = close; }
  // From now on every read of the source throws plat::TimedOut.
  void setTimedOut() { timedOut = true; }
  bool isTimedOut() const { return timedOut; }

 protected:
  int readData(uint8_t* buf, int len) override;

 private:
  int fd;
  bool closeOnDestroy = false;
  bool timedOut = false;
};

}  // namespace rdr
