#pragma once

#include <functional>
#include <map>
#include <memory>

#include "apps/qolt-receiver/Connection.h"
#include "apps/qolt-receiver/Endpoint.h"
#include "base/io/FdHandler.h"
#include "base/plat/Timer.h"

namespace io {
class FdManager;
}

namespace receiver {

// Listens at the endpoint of the account and serves its connections side by side. Near the
// limit on descriptors, connections wait in the listener's queue until others have ended.
// Belongs to a thread with a current io::FdManager, which outlives this.
class Server : private io::FdHandler,
               private Connection::Owner,
               private plat::Timer::Callback,
               private plat::NonCopyable {
 public:
  using JobAnnounced = std::function<void(plat::String descriptionPath)>;

  // A job must announce itself within timeoutS seconds. Throws as Endpoint does.
  Server(const char* endpointName, int newTimeoutS, JobAnnounced newCallback);
  // Ends every connection.
  ~Server() override;

  const char* path() const { return endpoint.path(); }

 private:
  void fdReadable() override;
  void jobAnnounced(plat::String path) override { callback(std::move(path)); }
  void connectionEnded(Connection* connection) override;
  bool timerExpired(plat::Timer*) override;

  void setAccepting(bool accept);

  Endpoint endpoint;
  io::FdManager* fdMgr;
  int timeoutS;
  JobAnnounced callback;
  int maxFd;  // of a connection; with a higher one the limit is near
  std::map<Connection*, std::unique_ptr<Connection>> connections;
  plat::Timer pauseTimer;  // runs while nothing is accepted
};

}  // namespace receiver
