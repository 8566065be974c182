#pragma once

namespace io {

class Io;

// Takes over connections, one at a time.
class IoAcceptor {
 public:
  virtual void acceptIo(Io* io) = 0;
  virtual ~IoAcceptor() = default;
  // Processes what has arrived.
  virtual void run() = 0;
  // Gives the connection up.
  virtual void releaseIo() = 0;
};

}  // namespace io
