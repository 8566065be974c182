#pragma once

#include <chrono>
#include <functional>

#include "base/io/unix/SelectManager.h"

// The waiting loop of the product, turned by hand.
class TestLoop : public io::SelectManager {
 public:
  // Runs until the condition holds; false when it did not within ten seconds.
  bool runUntil(const std::function<bool()>& condition) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      waitOnce(100);
    }
    return true;
  }

  // Until nothing is ready and no timer is due.
  void runIdle() {
    while (waitOnce(0)) {
    }
  }
};
