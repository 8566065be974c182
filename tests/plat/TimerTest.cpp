#include "base/plat/Timer.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/plat/Exception.h"
#include "base/plat/LogDest.h"
#include "base/plat/LogSrc.h"
#include "base/plat/TimerManager.h"

using namespace plat;

namespace {

class FakeClock : public MonotonicSource {
 public:
  FakeClock() { setMonotonicSource(this); }
  ~FakeClock() override { setMonotonicSource(nullptr); }
  MonotonicReading read(Ticks limit) override {
    bool jumped = reportJump || ticks >= limit;
    reportJump = false;
    return {ticks, jumped};
  }
  void advance(Ticks ms) { ticks += ms * ticksPerMs; }

  Ticks ticks = 1'000'000 * ticksPerMs;
  bool reportJump = false;
};

struct CaptureLog : LogDest {
  CaptureLog() : LogDest("timerCapture") {
    LogSrc::setLogSpec("TimerManager:timerCapture:30");
    lines.clear();  // what other tests logged before
  }
  ~CaptureLog() override { LogSrc::setLogSpec(nullptr); }
  void write(int, const char*, const char* text) override { lines.push_back(text); }
  std::vector<std::string> lines;
};

// A timer that notes its expiries and then does what the test wants.
struct Probe : Timer::Callback {
  Probe(std::string& firedLetters, char own) : fired(firedLetters), letter(own) {}
  bool timerExpired(Timer* expired) override {
    EXPECT_EQ(timer.get(), expired);
    fired += letter;
    return action ? action() : false;
  }
  std::string& fired;
  char letter;
  std::function<bool()> action;
  std::unique_ptr<Timer> timer = std::make_unique<Timer>(this);
};

class TimerTest : public testing::Test {
 protected:
  Probe& add(char letter) { return *probes.emplace_back(std::make_unique<Probe>(fired, letter)); }
  std::string pass() {
    fired.clear();
    manager.processTimers();
    return fired;
  }

  FakeClock clock;
  std::string fired;
  TimerManager manager;
  std::vector<std::unique_ptr<Probe>> probes;
};

}  // namespace

TEST_F(TimerTest, timersFireInOrderOfExpiryAndThenOfStarting) {
  const int durations[] = {30, 10, 20, 10, 0, 30, 10, 5, 20, 11, 10, 9};
  for (size_t i = 0; i < std::size(durations); i++) {
    add(static_cast<char>('a' + i)).timer->start(durations[i]);
  }
  EXPECT_EQ("e", pass());
  EXPECT_EQ(5, manager.processTimers());
  clock.advance(10);
  EXPECT_EQ("hlbdgk", pass());
  EXPECT_EQ(1, manager.getTimeout());
  clock.advance(100);
  EXPECT_EQ("jciaf", pass());
  EXPECT_EQ(-1, manager.processTimers());
  for (auto& probe : probes) EXPECT_FALSE(probe->timer->isRunning());
}

TEST_F(TimerTest, timeoutIsTakenUpwardsAndBounded) {
  Probe& a = add('a');
  EXPECT_EQ(-1, manager.getTimeout());
  EXPECT_EQ(-1, a.timer->getRemaining());
  Ticks start = clock.ticks;
  a.timer->start(10);
  const struct {
    Ticks passed;
    int left;
  } cases[] = {{0, 10},
               {1, 10},
               {9999, 10},
               {10000, 9},
               {99999, 1},
               {100000, 0},
               {100001, 0},
               {-400000000000000, INT_MAX},
               {INT64_MIN, INT_MAX}};
  for (auto& c : cases) {
    clock.ticks = c.passed == INT64_MIN ? INT64_MIN : start + c.passed;
    EXPECT_EQ(c.left, manager.getTimeout()) << c.passed;
    EXPECT_EQ(c.left, a.timer->getRemaining()) << c.passed;
  }
  clock.ticks = INT64_MAX - 5;
  a.timer->start(INT_MAX);
  EXPECT_EQ(1, manager.getTimeout());
}

TEST_F(TimerTest, repeatedTimerDoesNotDriftButSkipsWhatIsOver) {
  Probe& a = add('a');
  a.timer->start(100);
  a.action = [&] {
    clock.advance(30);  // a slow callback
    return true;
  };
  clock.advance(110);
  EXPECT_EQ("a", pass());
  EXPECT_EQ(60, manager.getTimeout());  // due at 200, now 140
  clock.advance(500);
  EXPECT_EQ("a", pass());
  EXPECT_EQ(100, manager.getTimeout());
  clock.advance(99);
  EXPECT_EQ("", pass());
}

TEST_F(TimerTest, restartedOrDestroyedInItsOwnCallbackIsSafe) {
  Probe& a = add('a');
  for (int restart : {70, 0, -1}) {
    SCOPED_TRACE(restart);
    a.timer->start(10);
    a.action = [&] {
      restart >= 0 ? a.timer->start(restart) : a.timer.reset();
      return true;
    };
    clock.advance(10);
    EXPECT_EQ("a", pass());
    EXPECT_EQ(restart, manager.getTimeout());
  }
}

TEST_F(TimerTest, destroyedInANestedPassOfItsOwnCallbackIsSafe) {
  Probe& a = add('a');
  Probe& b = add('b');
  a.timer->start(0);
  b.timer->start(0);
  bool nested = false;
  a.action = [&] {
    if (nested) {
      a.timer.reset();
      return true;
    }
    nested = true;
    a.timer->start(0);
    EXPECT_EQ(0, manager.getTimeout());  // b is still to come
    EXPECT_EQ(0, manager.processTimers());
    return true;
  };
  EXPECT_EQ("aba", pass());
  EXPECT_EQ(-1, manager.getTimeout());
}

TEST_F(TimerTest, expiredTimersCanBeStoppedDestroyedAndRestartedByAnother) {
  // Enough to make the queue of expired timers grow, twice from a shifted start.
  for (int round = 0; round < 3; round++) {
    SCOPED_TRACE(round);
    probes.clear();
    const int count = 5 + 20 * round;
    for (int i = 0; i < count; i++) add(static_cast<char>('A' + i)).timer->start(0);
    probes[0]->action = [&] {
      probes[2]->timer->stop();
      probes[3]->timer.reset();
      probes[4]->timer->start(50);
      probes[count - 1]->timer->stop();
      return false;
    };
    std::string expected = "AB";
    for (int i = 5; i < count - 1; i++) expected += static_cast<char>('A' + i);
    EXPECT_EQ(expected, pass());
    EXPECT_EQ(count == 5 ? -1 : 50, manager.getTimeout());
  }
}

TEST_F(TimerTest, exceptionOfACallbackLeavesTheRestForTheNextPass) {
  for (char c : {'a', 'b', 'c'}) add(c).timer->start(0);
  add('d').timer->start(1000);
  probes[1]->action = []() -> bool { throw Exception("broken"); };
  EXPECT_THROW(manager.processTimers(), Exception);
  EXPECT_EQ("ab", fired);
  EXPECT_TRUE(probes[2]->timer->isRunning());
  probes[1]->timer.reset();
  EXPECT_EQ("c", pass());
}

TEST_F(TimerTest, jumpRestartsEveryTimerFromTheReading) {
  const char* forwards = "Time has jumped forwards - restarting timers";
  const char* backwards = "Time has moved backwards - restarting timers";
  const struct {
    Ticks byMs;
    bool reported;
    const char* message;
  } cases[] = {{-500000, true, forwards},
               {60000, true, forwards},
               {1000 + 239999, false, nullptr},
               {1000 + 240000, false, backwards},
               {9000000, true, backwards}};
  for (auto& c : cases) {
    SCOPED_TRACE(c.byMs);
    CaptureLog log;
    probes.clear();
    add('a').timer->start(1000);
    add('b').timer->start(3000);
    add('c').timer->start(1000);
    clock.advance(c.byMs);
    clock.reportJump = c.reported;
    EXPECT_EQ(c.message ? "" : "acb", pass());
    EXPECT_EQ(c.message ? 1u : 0u, log.lines.size());
    if (!c.message) continue;
    EXPECT_EQ(c.message, log.lines[0]);
    clock.advance(999);
    EXPECT_EQ("", pass());
    clock.advance(1);
    EXPECT_EQ("ac", pass());
    EXPECT_EQ(2000, probes[1]->timer->getRemaining());
  }
}

TEST_F(TimerTest, jumpDuringACallbackForgetsTheOldExpiries) {
  Probe& a = add('a');
  Probe& b = add('b');
  Probe& other = add('c');
  a.timer->start(100);
  b.timer->start(100);
  clock.advance(100);
  a.action = [&] {
    clock.advance(-70000);
    clock.reportJump = true;
    other.timer->start(10);  // notices the jump
    return true;
  };
  b.action = [] { return true; };
  EXPECT_EQ("ab", pass());
  EXPECT_EQ(100, a.timer->getRemaining());
  EXPECT_EQ(100, b.timer->getRemaining());  // its expiry was stamped with the reading
}

TEST_F(TimerTest, listenerHearsOfEveryNewEarliestExpiry) {
  struct : TimerManager::Listener {
    void timeoutChanged(int timeoutMs) override { waits.push_back(timeoutMs); }
    std::vector<int> waits;
  } heard;
  manager.setListener(&heard);
  Timer& a = *add('a').timer;
  Timer& b = *add('b').timer;
  a.start(100);
  b.start(200);  // not the first: silent
  b.start(50);
  b.stop();
  clock.reportJump = true;
  manager.getTimeout();
  clock.advance(100);
  EXPECT_EQ("a", pass());
  EXPECT_EQ((std::vector<int>{100, 50, 100, 100, -1}), heard.waits);
  manager.setListener(nullptr);
}

TEST_F(TimerTest, nestedManagerTakesOverAndStopsItsTimersAtTheEnd) {
  Timer& outer = *add('o').timer;
  Timer& inner = *add('i').timer;
  outer.start(100);
  {
    TimerManager nested(true);
    inner.start(10);
    EXPECT_EQ(10, nested.getTimeout());
    EXPECT_EQ(100, manager.getTimeout());
    outer.stop();  // belongs to the outer one still
    EXPECT_EQ(-1, manager.getTimeout());
  }
  EXPECT_EQ(&manager, &TimerManager::current());
  EXPECT_FALSE(inner.isRunning());
}

TEST(TimerManager, wrongNestingIsABug) {
  EXPECT_DEATH(TimerManager::current(), "Assertion 'thrInst' failed");
  TimerManager first;
  EXPECT_DEATH(TimerManager(), "Assertion 'nested \\|\\| !thrInst' failed");
  auto second = std::make_unique<TimerManager>(true);
  {
    TimerManager third(true);
    EXPECT_DEATH(second.reset(), "Assertion 'thrInst == this' failed");
  }
}
