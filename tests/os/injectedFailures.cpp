#include "tests/os/injectedFailures.h"

#include <dlfcn.h>
#include <grp.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <map>

namespace {

struct Call {
  int err = 0;
  int failuresLeft = 0;
};

std::map<std::string, Call> calls;
InjectedFailures* current = nullptr;

bool mustFail(const char* name) {
  if (!current) return false;
  Call& call = calls[name];
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
  calls.clear();
  current = nullptr;
}

void InjectedFailures::fail(const std::string& call, int err, int times) {
  calls[call].err = err;
  calls[call].failuresLeft = times;
}

// The exception specifications are those of the system's headers.
extern "C" {

int accept4(int fd, sockaddr* address, socklen_t* length, int flags) {
  if (mustFail("accept4")) return -1;
  return next<int(int, sockaddr*, socklen_t*, int)>("accept4")(fd, address, length, flags);
}

int connect(int fd, const sockaddr* address, socklen_t length) {
  if (mustFail("connect")) return -1;
  return next<int(int, const sockaddr*, socklen_t)>("connect")(fd, address, length);
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
