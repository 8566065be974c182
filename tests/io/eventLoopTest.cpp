#include <sys/time.h>

#include <csignal>
#include <memory>
#include <thread>

#include "base/io/FdHandler.h"
#include "base/io/unix/FdKicker.h"
#include "tests/io/Stage.h"

namespace {

// A loop with four handlers, which are dispatched as 3, 2, 1, 0, since their addresses ascend. The
// events are "<handler>r", "w", "o" and "gone", "|" for the end of a processEvents() and what
// waitOnce() returns; at the event `when` the script `act` is played.
struct Crowd : Stage {
  struct Handler : io::FdHandler {
    Handler(Crowd& newCrowd, const char* newId) : FdHandler(-1), crowd(newCrowd), id(newId) {}
    void watch(int descriptor) { fd = descriptor; }
    void fdReadable() override {
      char byte;
      EXPECT_TRUE(fd < 0 || read(fd, &byte, 1) == 1);
      crowd.tell(id + "r");
    }
    void fdWritable() override { crowd.tell(id + "w"); }
    void fdOther() override { crowd.tell(id + "o"); }
    void fdManagerGone() override { crowd.tell(id + "gone"); }
    Crowd& crowd;
    std::string id;
  };
  struct Loop : io::SelectManager {
    explicit Loop(Crowd& newCrowd) : crowd(newCrowd) {}
    void eventsProcessed() override { crowd.tell("|"); }
    Crowd& crowd;
  };

  Crowd() : Stage("FdManager:captured:0") {
    for (int i = 0; i < 4; i++) {
      words[handlers[i].id] = [this, i](auto kinds) {
        events += loop.setInterest(&handlers[i], std::stoul(kinds)) ? "" : "refused ";
      };
    }
    words.insert(
        {{"remove", [&](auto) { loop.removeHandler(&handlers[1]); }},
         {"drop", [&](auto how) { loop.dropWritable(&handlers[1], how == "dispatching"); }},
         {"queue", [&](auto) { loop.queueReadable(&handlers[1]); }},
         {"process", [&](auto) { loop.processEvents(); }},
         {"wait", [&](auto) { events += loop.waitOnce(0) ? "yes " : "no "; }},
         {"watching", [&](auto) { events += loop.isWatching() ? "watching " : "idle "; }}});
  }
  void tell(const std::string& event) {
    events += event;
    if (event != when) return;
    if (act == "throw") throw plat::Exception("no");
    play(act);
  }

  std::string when, act;
  Handler handlers[4] = {{*this, "0"}, {*this, "1"}, {*this, "2"}, {*this, "3"}};
  Loop loop{*this};
};

TEST(FdManager, eventsInsideAnEventTouchWhatIsStillToCome) {
  const struct {
    const char *when, *act, *events;  // of two processEvents()
  } rows[] = {
      {"", "", "2o1o0o2r1r0r2w1w0w||"},
      {"2o", "remove", "2o0o2r0r2w0w||"},
      {"2r", "remove", "2o1o0o2r0r2w0w||"},
      {"1w", "remove", "2o1o0o2r1r0r2w1w0w||"},
      {"2o", "1=4", "2o0o2r1r0r2w0w||"},
      {"2r", "1=8", "2o1o0o2r1r0r2w0w||"},
      {"2o", "1=16", "2orefused 1o0o2r0r2w0w||"},
      {"2r", "drop", "2o1o0o2r1r0r2w0w||"},
      {"2w", "drop", "2o1o0o2r1r0r2w1w0w||"},
      {"2w", "drop=dispatching", "2o1o0o2r1r0r2w0w||"},
      {"2r", "queue", "2o1o0o2r1r0r2w1w0w|1r|"},
      {"1r", "process", "2o1o0o2r1r0r2w1w0w|||"},
      {"1r", "throw", "2o1o0o2r1r(: no) 0r2w1w0w|"},
  };
  for (const auto& row : rows) {
    Crowd crowd;
    crowd.when = row.when;
    crowd.act = row.act;
    for (int i : {1, 2, 0, 1}) {
      crowd.loop.addHandler(&crowd.handlers[i]);
      crowd.loop.queueWritable(&crowd.handlers[i]);
      crowd.loop.queueReadable(&crowd.handlers[i]);
      crowd.loop.queueOther(&crowd.handlers[i]);
    }
    EXPECT_EQ(crowd.play("process process"), row.events) << row.when << " " << row.act;
  }
}

TEST(FdManager, destructionTellsTheLastRegisteredFirst) {
  Crowd crowd;
  {
    io::FdManager inner;
    EXPECT_EQ(io::FdManager::current(), &inner);
    for (int i : {1, 3, 0, 2, 0}) inner.addHandler(&crowd.handlers[i]);
    inner.removeHandler(&crowd.handlers[0]);
    for (unsigned kinds : {0, 3, 16, 31}) {
      EXPECT_EQ(inner.setInterest(&crowd.handlers[0], kinds), !(kinds & io::interestOther));
    }
  }
  EXPECT_EQ(crowd.events, "2gone3gone1gone");
  EXPECT_EQ(io::FdManager::current(), &crowd.loop);
}

TEST(SelectManager, watchesWhatIsAskedForAndNothingElse) {
  Crowd crowd;
  const plat::OwnedFd second(crowd.connectPeer());
  crowd.send("56");
  const plat::OwnedFd secondPeer = std::move(crowd.peer), first(crowd.connectPeer());
  crowd.send("1234");
  // The descriptor of the last one stands beside that of the first; two share theirs.
  const int fds[] = {first.get(), second.get(), second.get(), crowd.peer.get()};
  for (int i = 0; i < 4; i++) crowd.handlers[i].watch(fds[i]);
  EXPECT_EQ(crowd.play("watching wait 0=0 wait 3=4 wait 0=1 wait 3=2 wait 3=0 wait 0=2 wait 1=1 "
                       "wait 0=3 wait 2=2 wait 1=0 wait 2=0 wait 0=0 wait watching"),
            "idle |no |no |no 0r|yes 0r3w|yes 0r|yes 0w|yes 1r0w|yes 1r0r0w|yes 2w0w|yes 2w0w|yes "
            "0w|yes |no idle ");
  const std::string log = "[0 FdManager select() cannot watch descriptor ";
  for (int number : {-1, static_cast<int>(FD_SETSIZE)}) {
    crowd.handlers[0].watch(number);
    crowd.events.clear();
    EXPECT_EQ(crowd.play("0=1 wait 0=0 0=16"),
              log + std::to_string(number) + "] refused |no refused ");
  }
  crowd.handlers[0].watch(FD_SETSIZE - 1);
  crowd.events.clear();
  EXPECT_EQ(crowd.play("0=1 0=0"), "");
  crowd.handlers[0].watch(plat::OwnedFd(dup(0)).get());  // closed by now
  EXPECT_EQ(crowd.play("0=1 wait"), "(System-9: select: Bad file descriptor (9)) ");
}

TEST(SelectManager, waitEndsAtTheLimitOrWithADueTimerOrASignal) {
  struct Expiry : plat::Timer::Callback {
    bool timerExpired(plat::Timer*) override { return ++count < 2; }
    int count = 0;
  };
  constexpr int hour = 3600000;
  const struct {
    int limitMs, timerMs;  // -1: none
    bool result;
  } rows[] = {
      {0, -1, false}, {5, -1, false},  {0, hour, false}, {5, hour, false},
      {-1, 5, true},  {hour, 5, true}, {0, 0, true},
  };
  io::SelectManager loop;
  for (const auto& row : rows) {
    Expiry expiry;
    plat::Timer timer(&expiry);
    if (row.timerMs >= 0) timer.start(row.timerMs);
    EXPECT_EQ(loop.waitOnce(row.limitMs), row.result) << row.limitMs << " " << row.timerMs;
    EXPECT_EQ(expiry.count, row.result);  // it runs again, and used to count as nothing
  }
  loop.dispatchSoon();
  EXPECT_TRUE(loop.waitOnce());
  // Again and again, since the first may come before the wait.
  const auto previous = signal(SIGALRM, [](int) {});
  const itimerval often = {{0, 1000}, {0, 1000}}, never = {};
  setitimer(ITIMER_REAL, &often, nullptr);
  EXPECT_FALSE(loop.waitOnce());
  setitimer(ITIMER_REAL, &never, nullptr);
  signal(SIGALRM, previous);
}

// Keeps what it is kicked with; 'q' stops the loop and 'd' drains the pipe.
struct Kicked : io::FdKickerCallback {
  void kicked(io::FdKicker* kicker) override {
    while (true) {
      bytes += static_cast<char>(kicker->in()->readU8());
      if (bytes.back() == 'q') loop->stop();
      if (bytes.back() == 'd') return kicker->drain();
      kicker->in()->checkpoint();
    }
  }
  std::optional<TestLoop> loop{std::in_place};
  std::string bytes;
};

TEST(FdKicker, kicksOfOtherThreadsWakeTheLoopAndAFullPipeDropsThem) {
  Kicked kicked;
  io::FdKicker kicker(&kicked);
  for (const std::string kicks : {"abq", "cq"}) {
    std::thread other([&] {
      for (char kick : kicks) kicker.kick(static_cast<uint8_t>(kick));
    });
    kicked.loop->run();
    other.join();
  }
  for (int round = 0; round < 2; round++) {
    for (int i = 0; i < 100000; i++) kicker.kick('d');
    kicked.loop->runIdle();
  }
  EXPECT_EQ(kicked.bytes, "abqcqdd");
}

TEST(FdKicker, livesLongerOrShorterThanItsLoop) {
  Kicked kicked;
  const plat::OwnedFd before(dup(0));
  auto kicker = std::make_unique<io::FdKicker>(&kicked);
  kicker.reset();
  EXPECT_FALSE(kicked.loop->isWatching());
  kicker = std::make_unique<io::FdKicker>(&kicked);
  EXPECT_TRUE(kicked.loop->isWatching());
  kicked.loop.reset();
  kicker->kick(1);
  kicker.reset();
  EXPECT_EQ(plat::OwnedFd(dup(0)).get(), before.get() + 1);
  EXPECT_DEATH(io::FdKicker{&kicked}, "'fdMgr'");
}

}  // namespace
