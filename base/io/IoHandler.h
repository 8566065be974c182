#pragma once

namespace io {

class Io;

// Told of the events of a connection in event-driven mode, on its thread.
class IoHandler {
 public:
  // Reads what has arrived. A message that is not complete yet ends the call with
  // rdr::BlockException, which is ignored; any other plat::Exception shuts the
  // connection down, so none may leave once the handler is off or the connection
  // destroyed.
  virtual void ioReadable(Io* io) = 0;
  virtual void ioWritable(Io*) {}
  // The connection destroys itself when this returns: do not delete it here.
  virtual void ioShutdownComplete(Io*) {}
  virtual ~IoHandler() = default;
};

}  // namespace io
