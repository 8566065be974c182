#include "base/io/unix/FdKicker.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <thread>

#include "tests/support/TestLoop.h"

namespace {

struct Kicked : io::FdKickerCallback {
  void kicked(io::FdKicker* kicker) override {
    calls++;
    if (drain) return kicker->drain();
    while (true) {
      bytes += static_cast<char>(kicker->in()->readU8());
      kicker->in()->checkpoint();
    }
  }
  int calls = 0;
  bool drain = false;
  std::string bytes;
};

TEST(FdKicker, kickFromAnotherThreadWakesTheLoop) {
  TestLoop manager;
  Kicked kicked;
  io::FdKicker kicker(&kicked);
  std::thread other([&] {
    for (char c : {'a', 'b', 'c'}) kicker.kick(static_cast<unsigned char>(c));
  });
  EXPECT_TRUE(manager.runUntil([&] { return kicked.bytes.size() == 3; }));
  other.join();
  EXPECT_EQ(kicked.bytes, "abc");
}

TEST(FdKicker, fullPipeDropsKicksAndDrainEmptiesIt) {
  TestLoop manager;
  Kicked kicked;
  kicked.drain = true;
  io::FdKicker kicker(&kicked);
  for (int i = 0; i < 100000; i++) kicker.kick(1);
  manager.runIdle();
  EXPECT_EQ(kicked.calls, 1);
  kicker.kick(2);
  manager.runIdle();
  EXPECT_EQ(kicked.calls, 2);
}

TEST(FdKicker, livesLongerOrShorterThanItsManager) {
  Kicked kicked;
  std::optional<TestLoop> manager(std::in_place);
  auto kicker = std::make_unique<io::FdKicker>(&kicked);
  kicker.reset();
  EXPECT_FALSE(manager->isWatching());
  kicker = std::make_unique<io::FdKicker>(&kicked);
  EXPECT_TRUE(manager->isWatching());
  manager.reset();
  kicker->kick(1);
}

}  // namespace
