#pragma once

#include <functional>
#include <string>

// This test program stands in front of some calls of the C library. They are
// forwarded unless a test wants them to fail: "accept4", "connect", "setgid", "setgroups",
// "setuid".
class InjectedFailures {
 public:
  InjectedFailures();
  ~InjectedFailures();
  InjectedFailures(const InjectedFailures&) = delete;

  void fail(const std::string& call, int err, int times);

  // Replaces getpwuid_r for the given buffer size.
  std::function<int(struct passwd* entry, char* buffer, size_t size)> onGetpwuid;
};
