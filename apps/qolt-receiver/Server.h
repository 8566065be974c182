#pragma once

#include <functional>
#include <list>
#include <memory>

#include "apps/qolt-receiver/Connection.h"
#include "apps/qolt-receiver/Endpoint.h"
#include "base/io/FdHandler.h"
#include "base/plat/Timer.h"

namespace io {
class FdManager;
}

namespace receiver {

// Listens at an endpoint of the account and serves its connections side by side; jobs are
// announced in the order in which they came. Near the
// limit on descriptors, connections wait in the listener's queue until others have ended. When
// the endpoint's socket vanishes, since somebody has cleaned up, it is made again.
// Belongs to a thread with a current io::FdManager, which outlives this.
class Server : private io::FdHandler,
               private Connection::Owner,
               private plat::Timer::Callback,
               private plat::NonCopyable {
 public:
  using JobAnnounced = std::function<void(plat::String descriptionPath)>;

  // A job must announce itself within timeoutS seconds. The name is that of the endpoint.
  Server(std::unique_ptr<Endpoint> newEndpoint, const char* newName, int newTimeoutS,
         JobAnnounced newCallback);
  // Ends every connection.
  ~Server() override;

 private:
  void fdReadable() override;
  void jobAnnounced(plat::String path) override { callback(std::move(path)); }
  void connectionEnded(Connection* connection) override;
  bool timerExpired(plat::Timer*) override;

  void setAccepting(bool accept);

  void listenAgain();

  std::unique_ptr<Endpoint> endpoint;  // null while it cannot be made again
  plat::String name;
  io::FdManager* fdMgr;
  int timeoutS;
  JobAnnounced callback;
  int maxFd;  // of a connection; with a higher one the limit is near
  std::list<std::unique_ptr<Connection>> connections;  // in the order of their coming
  plat::Timer pauseTimer;                              // runs while nothing is accepted
  plat::Timer watchTimer;
};

}  // namespace receiver
