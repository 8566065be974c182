#include "base/plat/Timer.h"

#include <gtest/gtest.h>

#include "base/plat/TimerManager.h"

using namespace plat;

// What one manager does is in fuzz/timers.cpp.
TEST(Timer, nestedManagerTakesOverAndStopsItsTimersAtTheEnd) {
  struct : Timer::Callback {
    bool timerExpired(Timer*) override { return false; }
  } unused;
  Timer outer(&unused), inner(&unused);
  EXPECT_DEATH(outer.start(0), "Assertion 'thrInst' failed");
  TimerManager manager;
  outer.start(1'000'000);
  {
    TimerManager nested(true);
    inner.start(0);
    EXPECT_EQ(0, nested.getTimeout());
    EXPECT_LT(0, manager.getTimeout());
    outer.stop();  // belongs to the outer one still
    EXPECT_EQ(-1, manager.getTimeout());
    EXPECT_DEATH(TimerManager(), "Assertion 'nested \\|\\| !thrInst' failed");
  }
  EXPECT_EQ(&manager, &TimerManager::current());
  EXPECT_FALSE(inner.isRunning());
}
