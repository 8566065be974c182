#pragma once

#include "base/rdr/BufferedLazyOutStream.h"

namespace rdr {

// Writes a descriptor, which the owner keeps in the matching blocking mode. Throws
// plat::TimedOut "Timed out" and plat::SystemException "write", "select" (also for
// a descriptor of 1024 or more that would have to be waited for) and
// "shutdown(SHUT_WR)". A lazy stream that does not throw errors logs those of
// write and keeps the data; with its buffer full as well, a write throws
// plat::AssertionFail. Destruction delivers what the descriptor takes now.
class FdOutStream : public BufferedLazyOutStream {
 public:
  class Callback {
   public:
    // After every write that returned, and after one that found the descriptor full.
    virtual void writeAttempted(FdOutStream* stream, bool wouldBlock) = 0;
    virtual void shutdownRequested(FdOutStream* stream) = 0;

   protected:
    ~Callback() = default;
  };

  explicit FdOutStream(int descriptor, int maxBufSize = -1);
  ~FdOutStream() override;

  int getFd() const { return fd; }
  void setCloseOnDestroy(bool close) { closeOnDestroy = close; }
  // Borrowed until replaced; null is none.
  void setCallback(Callback* newCallback) { callback = newCallback; }
  bool doesThrowErrors() const { return throwErrors || blocking; }
  // With bytes pending the write direction stays open; the callback is told in any
  // case and completes the shutdown later. Returns true.
  bool shutdown() override;

 protected:
  int writeData(const uint8_t* buf, int len, bool needWrite) override;

 private:
  int fd;
  bool closeOnDestroy = false;
  Callback* callback = nullptr;
};

}  // namespace rdr
