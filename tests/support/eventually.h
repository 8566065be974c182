#pragma once

#include <chrono>
#include <thread>

namespace test {

// For what tells nobody that it has happened. False after a minute.
template <class Condition>
bool eventually(Condition condition) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

}  // namespace test
