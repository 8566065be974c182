#include "base/os/SocketUtil.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>

#include "base/plat/Assertion.h"
#include "base/plat/Exception.h"
#include "base/plat/LogSrc.h"
#include "base/plat/String.h"
#include "base/plat/unix/OwnedFd.h"
#include "base/plat/unix/strError.h"

namespace os {

static constinit plat::LogSrc log("SocketUtil");
static const plat::LogSrc::Listed listed(log);

namespace {

std::atomic<bool> cloexecFlagRefused{false};
std::atomic<int> dscp{0};

// The error also means a protocol that is really unknown; giving up the flag then
// costs nothing but the moment between the two calls.
bool refusesCloexecFlag(int err) {
  return err == EINVAL || err == EPROTONOSUPPORT;
}

// Of accept4, pipe2, dup3 and F_DUPFD_CLOEXEC.
bool lacksCloexecCall(int err) {
  return err == EINVAL || err == ENOSYS;
}

// False and errno on failure.
bool trySetInheritable(int fd, bool inheritable, bool closeOnFail) {
  int flags = fcntl(fd, F_GETFD);
  if (flags >= 0) {
    flags = inheritable ? flags & ~FD_CLOEXEC : flags | FD_CLOEXEC;
    if (fcntl(fd, F_SETFD, flags) >= 0) return true;
  }
  if (closeOnFail) {
    int err = errno;
    closeFd(fd);
    errno = err;
  }
  return false;
}

void setPairNotInheritable(int fds[2]) {
  plat::OwnedFd first(fds[0]), second(fds[1]);
  setInheritable(first.get(), false);
  setInheritable(second.get(), false);
  first.release();
  second.release();
}

void logFailure(const plat::SystemException& failure) {
  log.error("%s", failure.message);
}

void preparePipeSignal() {
  struct sigaction action;
  if (sigaction(SIGPIPE, nullptr, &action) == 0 && action.sa_handler == SIG_DFL) {
    signal(SIGPIPE, SIG_IGN);
  }
}

void prepareDescriptorLimit() {
  struct rlimit limit;
  if (getrlimit(RLIMIT_NOFILE, &limit) < 0) {
    logFailure(plat::SystemException("getrlimit(RLIMIT_NOFILE)", errno));
    return;
  }
  if (limit.rlim_cur <= FD_SETSIZE) return;
  limit.rlim_cur = FD_SETSIZE;
  if (setrlimit(RLIMIT_NOFILE, &limit) < 0) {
    logFailure(plat::SystemException("setrlimit(RLIMIT_NOFILE)", errno));
  }
}

// -1 and errno on failure.
int trySocket(int domain, int type, int protocol) {
  prepareProcess();
  if (!cloexecFlagRefused) {
    int fd = socket(domain, type | SOCK_CLOEXEC, protocol);
    if (fd >= 0 || !refusesCloexecFlag(errno)) return fd;
    cloexecFlagRefused = true;
  }
  int fd = socket(domain, type, protocol);
  if (fd >= 0 && !trySetInheritable(fd, false, true)) return -1;
  return fd;
}

void setFlag(int fd, int level, int option, const char* text) {
  int on = 1;
  if (setsockopt(fd, level, option, &on, sizeof on) < 0) throw plat::SystemException(text, errno);
}

int getBufferSize(int fd, int option, const char* name) {
  int size = 0;
  socklen_t length = sizeof size;
  if (getsockopt(fd, SOL_SOCKET, option, &size, &length) < 0) {
    throw plat::SystemExceptionFmt("getsockopt(%s)", errno, name);
  }
  return size;
}

int raiseBufferSize(int fd, int option, const char* name, int want) {
  const int current = getBufferSize(fd, option, name);
  if (want <= current) return current;
  while (setsockopt(fd, SOL_SOCKET, option, &want, sizeof want) < 0) {
    int err = errno;
    int less = want / 5 * 4;
    // A size of 0 cannot be lowered and would be tried for ever.
    if ((err != ENOMEM && err != ENOBUFS) || current <= 0 || less == 0) {
      throw plat::SystemExceptionFmt("setsockopt(%s)", err, name);
    }
    want = less;
  }
  return getBufferSize(fd, option, name);
}

void logOptionFailure(const char* option, const char* value, int err) {
  char text[256];
  plat::strError(err, text, sizeof text);
  log.error("setsockopt(%s,%s): %s", option, value, text);
}

}  // namespace

void prepareProcess() {
  static std::once_flag prepared;
  std::call_once(prepared, [] {
    preparePipeSignal();
    prepareDescriptorLimit();
  });
}

int createSocket(int domain, int type, int protocol) {
  const int fd = trySocket(domain, type, protocol);
  if (fd < 0) throw plat::SystemException("socket", errno);
  return fd;
}

int createBoundSocket(const sockaddr* address, socklen_t length, int type, bool reusePort) {
  plat::OwnedFd fd(createSocket(address->sa_family, type, 0));
  if (address->sa_family == AF_INET6) {
    setFlag(fd.get(), IPPROTO_IPV6, IPV6_V6ONLY, "setsockopt(IPV6_V6ONLY)");
  }
  setFlag(fd.get(), SOL_SOCKET, SO_REUSEADDR, "setsockopt");
  if (reusePort) setFlag(fd.get(), SOL_SOCKET, SO_REUSEPORT, "setsockopt");
  if (bind(fd.get(), address, length) < 0) throw plat::SystemException("bind", errno);
  return fd.release();
}

void createSocketPair(int domain, int type, int protocol, int fds[2]) {
  prepareProcess();
  if (!cloexecFlagRefused) {
    if (socketpair(domain, type | SOCK_CLOEXEC, protocol, fds) == 0) return;
    if (!refusesCloexecFlag(errno)) throw plat::SystemException("socketpair", errno);
    cloexecFlagRefused = true;
  }
  if (socketpair(domain, type, protocol, fds) < 0) throw plat::SystemException("socketpair", errno);
  setPairNotInheritable(fds);
}

void createPipe(int fds[2]) {
  if (pipe2(fds, O_CLOEXEC) == 0) return;
  if (!lacksCloexecCall(errno)) throw plat::SystemException("pipe2", errno);
  if (pipe(fds) < 0) throw plat::SystemException("pipe", errno);
  setPairNotInheritable(fds);
}

bool connectSocket(int fd, const sockaddr* address, socklen_t length, ConnectMode mode) {
  int result;
  do {
    result = connect(fd, address, length);
  } while (result < 0 && errno == EINTR);
  if (result < 0 && errno != EINPROGRESS) throw plat::SystemException("connect", errno);
  if (mode != ConnectMode::noDscp) setDscp(fd);
  return result == 0;
}

int acceptSocket(int fd, sockaddr* address, socklen_t* length) {
  bool setAfterwards = false;
  int accepted;
  while (true) {
    accepted =
        setAfterwards ? accept(fd, address, length) : accept4(fd, address, length, SOCK_CLOEXEC);
    if (accepted >= 0) break;
    if (errno == EAGAIN || errno == ECONNABORTED || errno == EPERM) return -1;
    if (!setAfterwards && lacksCloexecCall(errno)) {
      setAfterwards = true;
    } else if (errno != EINTR) {
      throw plat::SystemException("accept", errno);
    }
  }
  if (setAfterwards) setInheritable(accepted, false, true);
  setDscp(accepted);
  return accepted;
}

void setInheritable(int fd, bool inheritable, bool closeOnFail) {
  if (!trySetInheritable(fd, inheritable, closeOnFail)) {
    throw plat::SystemException("setInheritable", errno);
  }
}

bool getInheritable(int fd) {
  int flags = fcntl(fd, F_GETFD);
  if (flags < 0) throw plat::SystemException("getInheritable", errno);
  return !(flags & FD_CLOEXEC);
}

void setBlocking(int fd, bool blocking) {
  if (fcntl(fd, F_SETFL, blocking ? 0 : O_NONBLOCK) < 0) {
    throw plat::SystemException("setBlocking", errno);
  }
}

int duplicate(int fd) {
  int copy = fcntl(fd, F_DUPFD_CLOEXEC, 0);
  if (copy >= 0) return copy;
  if (errno != EINVAL) throw plat::SystemException("fcntl(F_DUPFD_CLOEXEC)", errno);
  copy = dup(fd);
  if (copy < 0) throw plat::SystemException("dup", errno);
  setInheritable(copy, false, true);
  return copy;
}

void duplicateOnto(int oldFd, int newFd) {
  int result;
  do {
    result = dup3(oldFd, newFd, O_CLOEXEC);
  } while (result < 0 && errno == EINTR);
  if (result >= 0) return;
  // EINVAL is also what dup3 says of a descriptor onto itself.
  if (!lacksCloexecCall(errno)) throw plat::SystemException("dup2", errno);
  do {
    result = dup2(oldFd, newFd);
  } while (result < 0 && errno == EINTR);
  if (result < 0) throw plat::SystemException("dup2", errno);
  setInheritable(newFd, false);
}

// Not repeated when interrupted: the number may already belong to another thread.
int closeFd(int fd) {
  return close(fd);
}

int setReceiveBufferSize(int fd, int bytes) {
  int size = raiseBufferSize(fd, SO_RCVBUF, "SO_RCVBUF", bytes);
  log.debug("Using receive buffer size of %d KiB", size / 1024);
  return size;
}

int setSendBufferSize(int fd, int bytes) {
  int size = raiseBufferSize(fd, SO_SNDBUF, "SO_SNDBUF", bytes);
  log.debug("Using send buffer size of %d KiB", size / 1024);
  return size;
}

void configureDscp(int value) {
  PLAT_ASSERT(value >= 0 && value <= 63);
  dscp = value;
}

void setDscp(int fd) {
  int value = dscp;
  if (value <= 0) return;
  sockaddr_storage address;
  socklen_t length = sizeof address;
  int result = getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  // The lower two bits of the field belong to congestion notification (RFC 3168).
  int field = value * 4;
  if (result == 0 && address.ss_family == AF_INET) {
    result = setsockopt(fd, IPPROTO_IP, IP_TOS, &field, sizeof field);
  } else if (result == 0 && address.ss_family == AF_INET6) {
    result = setsockopt(fd, IPPROTO_IPV6, IPV6_TCLASS, &field, sizeof field);
  }
  if (result < 0) {
    char text[256];
    plat::strError(errno, text, sizeof text);
    log.error("setsockopt(DSCP, %d): %s", value, text);
  }
}

void setPathMtuDiscovery(int fd, bool on, int family) {
  if (family == AF_INET) {
    int value = on ? IP_PMTUDISC_DO : IP_PMTUDISC_DONT;
    if (setsockopt(fd, IPPROTO_IP, IP_MTU_DISCOVER, &value, sizeof value) < 0) {
      logOptionFailure("IP_MTU_DISCOVER", on ? "IP_PMTUDISC_DO" : "IP_PMTUDISC_DONT", errno);
    }
  } else if (family == AF_INET6) {
    int value = on ? IPV6_PMTUDISC_DO : IPV6_PMTUDISC_DONT;
    if (setsockopt(fd, IPPROTO_IPV6, IPV6_MTU_DISCOVER, &value, sizeof value) < 0) {
      logOptionFailure("IPV6_MTU_DISCOVER", on ? "IPV6_PMTUDISC_DO" : "IPV6_PMTUDISC_DONT", errno);
    }
  }
}

void fillUnixAddress(sockaddr_un* address, const char* path) {
  int length = plat::strLen(path);
  if (length >= static_cast<int>(sizeof address->sun_path)) {
    throw plat::SystemException("UnixIo", ENAMETOOLONG);
  }
  memset(address, 0, sizeof *address);
  address->sun_family = AF_UNIX;
  if (length > 0) memcpy(address->sun_path, path, length);
}

int createBoundUnixSocket(const char* path) {
  sockaddr_un address;
  fillUnixAddress(&address, path);
  return createBoundSocket(reinterpret_cast<sockaddr*>(&address), sizeof address, SOCK_STREAM,
                           false);
}

bool isUnixSocketAlive(const char* path, bool datagram) {
  sockaddr_un address;
  fillUnixAddress(&address, path);
  plat::OwnedFd fd(createSocket(AF_UNIX, datagram ? SOCK_DGRAM : SOCK_STREAM, 0));
  if (!datagram) setBlocking(fd.get(), false);
  try {
    connectSocket(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address);
  } catch (const plat::SystemException& failure) {
    int err = failure.err;
    if (err == EAGAIN && !datagram) return true;  // the listener's queue is full
    if (err == ENOENT || err == ECONNREFUSED || err == EPROTOTYPE) return false;
    throw;
  }
  return true;
}

}  // namespace os
