#pragma once

#include <poll.h>

#include <chrono>
#include <functional>
#include <map>
#include <vector>

#include "base/io/FdHandler.h"
#include "base/io/FdManager.h"

// A waiting loop over poll().
class PollManager : public io::FdManager {
 public:
  // Runs until the condition holds; false when it did not within ten seconds.
  bool runUntil(const std::function<bool()>& condition) {
    auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
      if (std::chrono::steady_clock::now() > end) return false;
      waitOnce(100);
    }
    return true;
  }

  // Until nothing is ready and no timer is due.
  void runIdle() {
    while (waitOnce(0)) {
    }
  }

  bool isAnyWatched() const { return !watched.empty(); }

 protected:
  bool interestChanged(io::FdHandler* handler, bool read, bool write, bool, bool, bool) override {
    if (read || write)
      watched[handler] = static_cast<short>((read ? POLLIN : 0) | (write ? POLLOUT : 0));
    else
      watched.erase(handler);
    return true;
  }

 private:
  bool waitOnce(int limitMs) {
    std::vector<pollfd> fds;
    std::vector<io::FdHandler*> owners;
    for (const auto& [handler, events] : watched) {
      fds.push_back({handler->getFd(), events, 0});
      owners.push_back(handler);
    }
    int timeout = getTimers().getTimeout();
    bool due = timeout == 0;
    if (timeout < 0 || timeout > limitMs) timeout = limitMs;
    int ready = poll(fds.data(), fds.size(), timeout);
    for (size_t i = 0; i < fds.size(); i++) {
      // A hang-up is noticed by the attempt to read or write.
      if (fds[i].events & POLLIN && fds[i].revents & ~POLLOUT) queueReadable(owners[i]);
      if (fds[i].events & POLLOUT && fds[i].revents & ~POLLIN) queueWritable(owners[i]);
    }
    processEvents();
    return due || ready > 0;
  }

  std::map<io::FdHandler*, short> watched;
};
