#pragma once

#include "base/io/FdHandler.h"
#include "base/io/Io.h"
#include "base/plat/Timer.h"
#include "base/rdr/FdInStream.h"
#include "base/rdr/FdOutStream.h"

namespace io {

class FdManager;

// A connection over a file descriptor. The streams' time limits and the
// event-driven mode need a non-blocking descriptor.
class FdIo : public Io,
             private plat::Timer::Callback,
             private rdr::FdOutStream::Callback,
             private FdHandler {
 public:
  // fd < 0: attach() follows. `connecting`: a non-blocking connect is under way.
  FdIo(int fd, bool closeOnDestroy, bool connecting, int inBufSize, int outMaxBufSize,
       bool setNonBlocking);
  ~FdIo() override;

  // Precondition: nothing is attached. Negative sizes are the streams' defaults.
  // With closeOnDestroy the descriptor is closed also when this, or the
  // constructor, throws.
  void attach(int fd, bool closeOnDestroy, int inBufSize, int outMaxBufSize, bool setNonBlocking);
  // SO_ERROR, which reading clears: read once and kept.
  int getSocketError();
  using FdHandler::getFd;

  // Precondition: attached. An error on the way is only logged. With a handler, writes
  // start a timer of the current manager: write only while that is the one the handler was
  // set in, and no other is nested inside it.
  void setHandler(IoHandler* handler, bool checkReadable) override;
  void shutdown(bool flush, bool tellHandler) override;
  void markReadable() override;
  const char* name() override;
  void setTimeout(int ms) override;

 private:
  // Requested: by the output stream, which had bytes pending.
  enum class State { open, shutdownRequested, shuttingDown };

  bool timerExpired(plat::Timer* timer) override;
  void writeAttempted(rdr::FdOutStream* stream, bool wouldBlock) override;
  void shutdownRequested(rdr::FdOutStream* stream) override;
  void fdReadable() override;
  void fdWritable() override;
  void fdManagerGone() override;

  rdr::FdInStream* fdIn() const { return static_cast<rdr::FdInStream*>(in()); }
  rdr::FdOutStream* fdOut() const { return static_cast<rdr::FdOutStream*>(out()); }
  void setInterest(unsigned newInterest);
  void flushTimedOut();
  void finishShutdown();  // destroys this object
  void leaveManager();

  bool closeOnDestroy = true;
  bool connecting;             // waits for a non-blocking connect to end
  FdManager* fdMgr = nullptr;  // borrowed, null in blocking mode
  int socketError = -1;        // -1: not read yet

 protected:
  plat::String name_;

 private:
  IoHandler* handler = nullptr;     // borrowed, null in blocking mode
  plat::Timer flushTimer{this};     // bounds how long a write may wait
  plat::Timer shutdownTimer{this};  // ends a shutdown on the next pass of the timers
  unsigned interest = 0;            // what the manager watches for this object
  State state = State::open;
};

}  // namespace io
