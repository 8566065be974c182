#pragma once

#include "base/io/IoHandler.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"
#include "base/plat/Timer.h"

namespace receiver {

// A connection on which a job announces itself with one message. Belongs to a thread with
// a current io::FdManager.
class Connection : private io::IoHandler, private plat::Timer::Callback, private plat::NonCopyable {
 public:
  class Owner {
   public:
    // The path of a description file, still to be checked.
    virtual void jobAnnounced(plat::String path) = 0;
    // Destroys the connection.
    virtual void connectionEnded(Connection* connection) = 0;
    virtual ~Owner() = default;
  };

  // Takes over the descriptor, also when it throws. The owner is borrowed. A message that
  // is not complete within the time ends the connection. Throws plat::Exception.
  Connection(int fd, int newTimeoutS, Owner* newOwner);
  ~Connection() override;

  // Takes what has come, before the loop says that something has.
  void readNow();

 private:
  void ioReadable(io::Io*) override;
  void ioShutdownComplete(io::Io*) override;
  bool timerExpired(plat::Timer*) override;

  io::Io* io;  // destroys itself; null once it has
  Owner* owner;
  int timeoutS;
  plat::Timer timer;
};

}  // namespace receiver
