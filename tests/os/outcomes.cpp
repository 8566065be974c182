#include "tests/os/outcomes.h"

#include <dlfcn.h>
#include <fcntl.h>

#include <bitset>

#include "base/plat/Exception.h"
#include "tests/support/CapturedLog.h"

std::string injectedFailures;

// A call may well return descriptor 0.
static const int closedInput [[maybe_unused]] = close(0);

static bool mustFail(const std::string& call) {
  const size_t found = (" " + injectedFailures).find(" " + call + " ");
  if (found == injectedFailures.npos) return false;
  size_t digits = 0;
  errno = std::stoi(injectedFailures.substr(found + call.size() + 1), &digits);
  injectedFailures.erase(found, call.size() + 2 + digits);
  return true;
}

// Integers and pointers, five at most: the machines that this runs on pass them in
// registers, whatever their types and however few they are.
#define FORWARD(call, failed)                                                         \
  extern "C" long injected_##call(long a, long b, long c, long d, long e) asm(#call); \
  long injected_##call(long a, long b, long c, long d, long e) {                      \
    if (!injectedFailures.empty() && mustFail(#call)) return errno ? failed : 0;      \
    using Call = long(long, long, long, long, long);                                  \
    return reinterpret_cast<Call*>(dlsym(RTLD_NEXT, #call))(a, b, c, d, e);           \
  }
#define FORWARD_4(a, b, c, d) FORWARD(a, -1) FORWARD(b, -1) FORWARD(c, -1) FORWARD(d, -1)

FORWARD_4(accept, accept4, connect, dup)
FORWARD_4(dup2, dup3, fcntl64, getresuid)
FORWARD_4(getrlimit64, pipe, pipe2, setrlimit64)
FORWARD_4(setsockopt, setuid, socket, socketpair)
FORWARD(getpwuid_r, errno)
FORWARD(readdir64, 0)

void hold(const std::function<std::string()>& value, const std::vector<std::string>& promises) {
  for (const std::string& promise : promises) {
    CapturedLog captured("SocketUtil:captured:100");
    std::bitset<100> open;
    for (int fd = 0; fd < 100; fd++) open[fd] = fcntl(fd, F_GETFD) >= 0;
    const size_t split = promise.find("> ");
    std::string outcome, logged;
    injectedFailures = promise.substr(0, split);
    try {
      outcome = value();
    } catch (const plat::SystemException& e) {
      outcome = e.message;
      outcome = outcome.substr(0, outcome.find(": ")) + " " + std::to_string(e.err);
    }
    injectedFailures.clear();
    for (int fd = 0; fd < 100; fd++) {
      if (open[fd] || fcntl(fd, F_GETFD) < 0) continue;
      outcome += os::getInheritable(fd) ? "i" : "c";
      close(fd);
    }
    for (const std::string& line : captured.lines) logged += line + "\n";
    EXPECT_EQ(logged + outcome, promise.substr(split + 2)) << promise;
  }
}
