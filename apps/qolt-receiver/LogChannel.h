#pragma once

#include "base/io/MsgIpc.h"
#include "base/plat/Timer.h"

namespace receiver {

// The connection over which the log destination "ipc" reaches the server that collects
// logs: a local socket, connected to again and again until it answers, and after every loss.
// Belongs to a thread with a current io::FdManager.
class LogChannel : private io::MsgIpc::Reader,
                   private plat::Timer::Callback,
                   private plat::NonCopyable {
 public:
  explicit LogChannel(const char* socketPath);
  // Sends what waits, as far as that needs no waiting.
  ~LogChannel() override;

 private:
  bool readMsg(const char*, rdr::InStream&, io::MsgIpc*) override { return true; }
  void connectionChanged(io::MsgIpc*) override;
  bool timerExpired(plat::Timer*) override;

  void connect();

  plat::String path;
  io::MsgIpc ipc;
  plat::Timer retryTimer;
  int retryMs;
};

}  // namespace receiver
