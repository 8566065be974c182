#pragma once

namespace io {

class Io;

// Told of the events of a connection in event-driven mode, on its thread.
class IoHandler {
 public:
  // Reads what has arrived. A message that is not complete yet ends the call with
  // rdr::BlockException, which is ignored; any other plat::Exception shuts the
  // connection down. A call that has taken the handler off or destroyed the
  // connection must not throw any more.
  virtual void ioReadable(Io* io) = 0;
  virtual void ioWritable(Io*) {}
  // The connection destroys itself when this returns: do not delete it here.
  virtual void ioShutdownComplete(Io*) {}
  virtual ~IoHandler() = default;
};

}  // namespace io
