#pragma once

#include <climits>
#include <functional>
#include <string>

// This test program stands in front of some calls of the C library. They are
// forwarded unless a test wants them to fail. Names are those of the calls; those
// that take a close-on-exec flag are named only when they are given it:
// "socket", "socketpair", "accept4", "pipe2", "dup3", "fcntl(F_DUPFD_CLOEXEC)"; then
// "fcntl(F_SETFD)", "accept", "pipe", "connect", "setrlimit", "setgid", "setgroups", "setuid".
class InjectedFailures {
 public:
  InjectedFailures();
  ~InjectedFailures();
  InjectedFailures(const InjectedFailures&) = delete;

  void fail(const std::string& call, int err, int times = INT_MAX);
  int attempts(const std::string& call) const;
  void clear();

  // The errno to fail with, 0 to forward.
  std::function<int(int option, int value)> onSetsockopt;
  // Replaces getpwuid_r for the given buffer size.
  std::function<int(struct passwd* entry, char* buffer, size_t size)> onGetpwuid;
};
