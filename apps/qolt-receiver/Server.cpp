#include "apps/qolt-receiver/Server.h"

#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "base/io/FdManager.h"
#include "base/os/SocketUtil.h"
#include "base/plat/Exception.h"
#include "base/plat/LogSrc.h"

namespace receiver {

static constinit plat::LogSrc log("Server");
static const plat::LogSrc::Listed listed(log);

namespace {

// For the files of a job, logs and commands.
constexpr int reservedDescriptors = 32;
constexpr int pauseMs = 1000;
constexpr int watchMs = 2000;
// Others get their turn in between.
constexpr int maxAcceptsAtOnce = 16;

int highestConnectionFd() {
  os::prepareProcess();
  rlimit limit;
  if (getrlimit(RLIMIT_NOFILE, &limit) < 0) {
    throw plat::SystemException("getrlimit(RLIMIT_NOFILE)", errno);
  }
  const int descriptors = static_cast<int>(std::min<rlim_t>(limit.rlim_cur, FD_SETSIZE));
  return std::max(descriptors - reservedDescriptors, descriptors / 2) - 1;
}

}  // namespace

Server::Server(std::unique_ptr<Endpoint> newEndpoint, const char* newName, int newTimeoutS,
               JobAnnounced newCallback)
    : FdHandler(-1),
      endpoint(std::move(newEndpoint)),
      name(newName),
      fdMgr(io::FdManager::current()),
      timeoutS(newTimeoutS),
      callback(std::move(newCallback)),
      maxFd(highestConnectionFd()),
      pauseTimer(this),
      watchTimer(this) {
  fd = endpoint->getFd();
  fdMgr->addHandler(this);
  setAccepting(true);
  watchTimer.start(watchMs);
}

Server::~Server() {
  if (endpoint) fdMgr->removeHandler(this);
}

void Server::fdReadable() {
  try {
    for (int i = 0; i < maxAcceptsAtOnce; i++) {
      int accepted = os::acceptSocket(fd);
      if (accepted < 0) return;
      Connection::Owner* owner = this;
      connections.push_back(std::make_unique<Connection>(accepted, timeoutS, owner));
      // A backend that has sent its message is followed by the next, whose connection may be
      // here before the loop has told of the message.
      for (const auto& connection : connections) connection->readNow();
      // The system hands out the lowest free descriptor.
      if (accepted >= maxFd) {
        log.info("%zu connections are open: no more for now", connections.size());
        setAccepting(false);
        return;
      }
    }
  } catch (const plat::Exception& problem) {
    // Out of descriptors or memory, most likely. It would be so again at once.
    log.error("%s", problem.message);
    setAccepting(false);
  }
}

void Server::connectionEnded(Connection* connection) {
  connections.remove_if([&](const auto& one) { return one.get() == connection; });
  // Its descriptor is closed when this call has returned.
  if (pauseTimer.isRunning()) pauseTimer.start(0);
}

bool Server::timerExpired(plat::Timer* timer) {
  if (timer == &watchTimer) {
    listenAgain();
    return true;
  }
  setAccepting(true);
  return false;
}

void Server::listenAgain() {
  if (endpoint && endpoint->isThere()) return;
  if (endpoint) {
    log.error("%s has vanished: it is made again", endpoint->path());
    fdMgr->removeHandler(this);
    endpoint.reset();
  }
  try {
    endpoint = std::make_unique<Endpoint>(name.get());
  } catch (const plat::Exception& problem) {
    log.info("%s", problem.message);
    return;
  }
  fd = endpoint->getFd();
  fdMgr->addHandler(this);
  setAccepting(true);
}

void Server::setAccepting(bool accept) {
  if (!endpoint) return;
  if (!accept) pauseTimer.start(pauseMs);
  fdMgr->setInterest(this, accept ? io::interestRead : 0);
}

}  // namespace receiver
