#include "tests/os/injectedFailures.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <map>

namespace {

struct Call {
  int err = 0;
  int failuresLeft = 0;
  int attempts = 0;
};

std::map<std::string, Call> calls;
InjectedFailures* current = nullptr;

bool mustFail(const char* name) {
  if (!current) return false;
  Call& call = calls[name];
  ++call.attempts;
  if (call.failuresLeft == 0) return false;
  --call.failuresLeft;
  errno = call.err;
  return true;
}

template <class Function>
Function* next(const char* symbol) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, symbol));
}

}  // namespace

InjectedFailures::InjectedFailures() {
  current = this;
}

InjectedFailures::~InjectedFailures() {
  clear();
  current = nullptr;
}

void InjectedFailures::fail(const std::string& call, int err, int times) {
  calls[call].err = err;
  calls[call].failuresLeft = times;
}

int InjectedFailures::attempts(const std::string& call) const {
  return calls[call].attempts;
}

void InjectedFailures::clear() {
  calls.clear();
  onSetsockopt = nullptr;
  onGetpwuid = nullptr;
}

// The exception specifications are those of the system's headers.
extern "C" {

int socket(int domain, int type, int protocol) noexcept {
  if ((type & SOCK_CLOEXEC) && mustFail("socket")) return -1;
  return next<int(int, int, int)>("socket")(domain, type, protocol);
}

int socketpair(int domain, int type, int protocol, int fds[2]) noexcept {
  if ((type & SOCK_CLOEXEC) && mustFail("socketpair")) return -1;
  return next<int(int, int, int, int*)>("socketpair")(domain, type, protocol, fds);
}

int accept4(int fd, sockaddr* address, socklen_t* length, int flags) {
  if ((flags & SOCK_CLOEXEC) && mustFail("accept4")) return -1;
  return next<int(int, sockaddr*, socklen_t*, int)>("accept4")(fd, address, length, flags);
}

int accept(int fd, sockaddr* address, socklen_t* length) {
  if (mustFail("accept")) return -1;
  return next<int(int, sockaddr*, socklen_t*)>("accept")(fd, address, length);
}

int pipe2(int fds[2], int flags) noexcept {
  if ((flags & O_CLOEXEC) && mustFail("pipe2")) return -1;
  return next<int(int*, int)>("pipe2")(fds, flags);
}

int pipe(int fds[2]) noexcept {
  if (mustFail("pipe")) return -1;
  return next<int(int*)>("pipe")(fds);
}

int dup3(int oldFd, int newFd, int flags) noexcept {
  if ((flags & O_CLOEXEC) && mustFail("dup3")) return -1;
  return next<int(int, int, int)>("dup3")(oldFd, newFd, flags);
}

int fcntl(int fd, int command, ...) {
  va_list args;
  va_start(args, command);
  void* argument = va_arg(args, void*);
  va_end(args);
  if (command == F_DUPFD_CLOEXEC && mustFail("fcntl(F_DUPFD_CLOEXEC)")) return -1;
  if (command == F_SETFD && mustFail("fcntl(F_SETFD)")) return -1;
  return next<int(int, int, ...)>("fcntl64")(fd, command, argument);
}

int connect(int fd, const sockaddr* address, socklen_t length) {
  if (mustFail("connect")) return -1;
  return next<int(int, const sockaddr*, socklen_t)>("connect")(fd, address, length);
}

int setsockopt(int fd, int level, int option, const void* data, socklen_t length) noexcept {
  if (current && current->onSetsockopt && length == sizeof(int)) {
    int value;
    memcpy(&value, data, sizeof value);
    int err = current->onSetsockopt(option, value);
    if (err) {
      errno = err;
      return -1;
    }
  }
  return next<int(int, int, int, const void*, socklen_t)>("setsockopt")(fd, level, option, data,
                                                                        length);
}

int setrlimit(__rlimit_resource_t resource, const struct rlimit* limit) noexcept {
  if (mustFail("setrlimit")) return -1;
  return next<int(int, const struct rlimit*)>("setrlimit64")(resource, limit);
}

int setgid(gid_t gid) noexcept {
  return mustFail("setgid") ? -1 : next<int(gid_t)>("setgid")(gid);
}

int setgroups(size_t count, const gid_t* groups) noexcept {
  return mustFail("setgroups") ? -1 : next<int(size_t, const gid_t*)>("setgroups")(count, groups);
}

int setuid(uid_t uid) noexcept {
  return mustFail("setuid") ? -1 : next<int(uid_t)>("setuid")(uid);
}

int getpwuid_r(uid_t uid, struct passwd* entry, char* buffer, size_t size, struct passwd** result) {
  if (current && current->onGetpwuid) {
    int err = current->onGetpwuid(entry, buffer, size);
    *result = err ? nullptr : entry;
    return err;
  }
  return next<int(uid_t, struct passwd*, char*, size_t, struct passwd**)>("getpwuid_r")(
      uid, entry, buffer, size, result);
}

}  // extern "C"
