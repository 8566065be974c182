#include "base/plat/Timer.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/plat/Exception.h"
#include "base/plat/TimerManager.h"
#include "tests/support/CapturedLog.h"

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
  clock.ticks++;
  EXPECT_EQ(5, manager.getTimeout());  // taken upwards
  clock.ticks += 5 * ticksPerMs - 2;
  EXPECT_EQ("", pass());
  EXPECT_EQ(1, manager.getTimeout());
  clock.ticks++;
  clock.advance(5);
  EXPECT_EQ("hlbdgk", pass());
  EXPECT_EQ(1, manager.getTimeout());
  clock.advance(100);
  EXPECT_EQ("jciaf", pass());
  EXPECT_EQ(-1, manager.processTimers());
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

TEST_F(TimerTest, expiredTimersCanBeStoppedDestroyedAndRestartedByAnother) {
  const int count = 25;  // enough to make the queue of expired timers grow
  std::string expected = "AB";
  for (int i = 0; i < count; i++) {
    add(static_cast<char>('A' + i)).timer->start(0);
    if (i >= 5 && i < count - 1) expected += static_cast<char>('A' + i);
  }
  probes[0]->action = [&] {
    probes[2]->timer->stop();
    probes[3]->timer.reset();
    probes[4]->timer->start(50);
    probes[count - 1]->timer->stop();
    return false;
  };
  EXPECT_EQ(expected, pass());
  EXPECT_EQ(50, manager.getTimeout());
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
  const struct {
    Ticks byMs;
    bool reported;
    const char* direction;
  } cases[] = {{60000, true, "jumped forwards"},
               {-500000, true, "jumped forwards"},
               {1000 + 239999, false, nullptr},
               {1000 + 240000, false, "moved backwards"},
               {9000000, true, "moved backwards"}};
  for (auto& c : cases) {
    SCOPED_TRACE(c.byMs);
    CapturedLog log("TimerManager:captured:30");
    log.take();
    probes.clear();
    add('a').timer->start(1000);
    add('b').timer->start(3000);
    add('c').timer->start(1000);
    clock.advance(c.byMs);
    clock.reportJump = c.reported;
    EXPECT_EQ(c.direction ? "" : "acb", pass());
    ASSERT_EQ(c.direction ? 1u : 0u, log.lines.size());
    if (!c.direction) continue;
    EXPECT_NE(std::string::npos, log.lines[0].find(c.direction));
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
  EXPECT_EQ(100, b.timer->getRemaining());
}

TEST_F(TimerTest, listenerHearsOfEveryNewFirstExpiry) {
  struct Recorder : TimerManager::Listener {
    void timeoutChanged(int timeoutMs) override { heard.push_back(timeoutMs); }
    std::vector<int> heard;
  } recorder;
  manager.setListener(&recorder);
  Timer &first = *add('a').timer, &second = *add('b').timer;
  second.start(100);
  first.start(30);
  second.start(200);  // not the first
  first.stop();
  clock.advance(200);
  EXPECT_EQ("b", pass());
  second.start(500);
  clock.reportJump = true;
  manager.getTimeout();
  manager.setListener(nullptr);
  EXPECT_EQ((std::vector{100, 30, 200, -1, 500, 500}), recorder.heard);
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
    EXPECT_DEATH(TimerManager(), "Assertion 'nested \\|\\| !thrInst' failed");
  }
  EXPECT_EQ(&manager, &TimerManager::current());
  EXPECT_FALSE(inner.isRunning());
}
