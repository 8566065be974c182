#include <sys/time.h>

#include <csignal>
#include <thread>
#include <tuple>

#include "base/io/FdHandler.h"
#include "base/io/unix/FdKicker.h"
#include "tests/io/Stage.h"

namespace {

using Tell = std::function<void(const std::string& event)>;

// Tells "<id>r", "<id>w", "<id>o" and "<id>gone"; reads a byte a time where it has a descriptor.
struct Handler : io::FdHandler {
  Handler(Tell newTell, char newId, int descriptor = -1)
      : FdHandler(descriptor), tell(std::move(newTell)), id(1, newId) {}
  void fdReadable() override {
    char byte;
    EXPECT_TRUE(fd < 0 || read(fd, &byte, 1) == 1);
    tell(id + "r");
  }
  void fdWritable() override { tell(id + "w"); }
  void fdOther() override { tell(id + "o"); }
  void fdManagerGone() override { tell(id + "gone"); }
  Tell tell;
  std::string id;
};

TEST(FdManager, eventsInsideAnEventTouchWhatIsStillToCome) {
  std::string events, when;
  std::function<void()> act;
  const Tell tell = [&](const std::string& event) {
    events += event;
    if (event == when) act();
  };
  // Dispatched as 2, 1, 0, since their addresses ascend.
  Handler h[] = {{tell, '0'}, {tell, '1'}, {tell, '2'}};
  std::optional<TestLoop> loop(std::in_place);
  const auto remove = [&] { loop->removeHandler(&h[1]); };
  const auto want = [&](unsigned kinds) { return [&, kinds] { loop->setInterest(&h[1], kinds); }; };
  const auto drop = [&](bool all) { return [&, all] { loop->dropWritable(&h[1], all); }; };
  // At which event what is done, and the events of two processEvents().
  const std::tuple<const char*, std::function<void()>, const char*> rows[] = {
      {"", nullptr, "2o1o0o2r1r0r2w1w0w||"},
      {"2o", want(4), "2o0o2r1r0r2w0w||"},
      {"2r", want(8), "2o1o0o2r1r0r2w0w||"},
      {"2o", want(16), "2o1o0o2r0r2w0w||"},
      {"2r", drop(false), "2o1o0o2r1r0r2w0w||"},
      {"2w", drop(false), "2o1o0o2r1r0r2w1w0w||"},
      {"2w", drop(true), "2o1o0o2r1r0r2w0w||"},
      {"2r", [&] { loop->queueReadable(&h[1]); }, "2o1o0o2r1r0r2w1w0w|1r|"},
      {"1r", [&] { loop->processEvents(); }, "2o1o0o2r1r0r2w1w0w||"},
      {"1r", [] { throw plat::Exception("no"); }, "2o1o0o2r1r|0r2w1w0w|"},
      {"2o", remove, "2o0o2r0r2w0w||"},
      {"2r", remove, "2o1o0o2r0r2w0w||"},
      {"1w", remove, "2o1o0o2r1r0r2w1w0w||"},
  };
  for (const auto& [at, action, expected] : rows) {
    events = "";
    when = at;
    act = action;
    for (int i : {1, 2, 0, 1}) {
      loop->addHandler(&h[i]);
      loop->queueWritable(&h[i]);
      loop->queueReadable(&h[i]);
      loop->queueOther(&h[i]);
    }
    for (int i = 0; i < 2; i++) {
      fakes::thrownBy([&] { loop->processEvents(); });
      events += '|';
    }
    EXPECT_EQ(events, expected) << at;
  }

  // The end of the loop is told to the last registered one first.
  for (int i : {1, 0, 2}) loop->removeHandler(&h[i]);
  for (int i : {1, 0, 2, 0}) loop->addHandler(&h[i]);
  when = "2gone";
  act = [&] { loop->removeHandler(&h[0]); };
  events.clear();
  {
    io::FdManager inner;
    EXPECT_EQ(io::FdManager::current(), &inner);
    EXPECT_TRUE(inner.setInterest(&h[0], 15) && !inner.setInterest(&h[0], 16));
  }
  EXPECT_EQ(io::FdManager::current(), &*loop);
  loop.reset();
  EXPECT_EQ(events, "2gone1gone");
}

TEST(SelectManager, watchesWhatIsAskedForAndNothingElse) {
  Stage stage("FdManager:captured:0");
  const Tell tell = [&](const std::string& event) { stage.events += event; };
  TestLoop loop;
  const plat::OwnedFd near(stage.connectPeer());
  // Two share a descriptor, and that of the third stands beside it.
  Handler handlers[] = {
      {tell, '0', near.get()}, {tell, '1', near.get()}, {tell, '2', stage.peer.get()}};
  const std::tuple<int, unsigned, const char*> rows[] = {
      {0, 0, ""},   {2, 4, ""},     {0, 1, "0r"}, {2, 2, "0r2w"}, {2, 0, "0r"},
      {0, 2, "0w"}, {0, 3, "0r0w"}, {1, 2, "1w"}, {0, 0, "1w"},   {1, 0, ""},
  };
  stage.send("1234");
  EXPECT_FALSE(loop.isWatching());
  for (const auto& [handler, interest, events] : rows) {
    stage.events.clear();
    EXPECT_TRUE(loop.setInterest(&handlers[handler], interest));
    EXPECT_EQ(loop.waitOnce(0), *events != 0);
    EXPECT_EQ(stage.events, events) << handler << interest;
  }
  EXPECT_FALSE(loop.isWatching());
  stage.events.clear();
  for (int number : {-1, 1023, 1024}) {
    Handler handler(tell, 'x', number);
    EXPECT_EQ(loop.setInterest(&handler, io::interestRead), number == 1023);
    EXPECT_TRUE(loop.setInterest(&handler, 0));
    EXPECT_FALSE(loop.setInterest(&handler, io::interestOther));
  }
  EXPECT_EQ(stage.events,
            "[0 FdManager select() cannot watch descriptor -1] "
            "[0 FdManager select() cannot watch descriptor 1024] ");
  Handler closed(tell, 'x', plat::OwnedFd(dup(0)).get());
  loop.setInterest(&closed, io::interestRead);
  EXPECT_EQ(fakes::thrownBy([&] { loop.waitOnce(0); }),
            "System-9: select: Bad file descriptor (9)");
}

TEST(SelectManager, waitEndsAtTheLimitOrWithADueTimerOrASignal) {
  struct Expiry : plat::Timer::Callback {
    bool timerExpired(plat::Timer*) override { return ++count < 2; }
    int count = 0;
  };
  constexpr int hour = 3600000;
  // Limit and timer in milliseconds, with -1 for none, and what waitOnce() returns.
  const std::tuple<int, int, bool> rows[] = {
      {0, -1, false}, {5, -1, false},  {0, hour, false}, {5, hour, false},
      {-1, 5, true},  {hour, 5, true}, {0, 0, true},
  };
  io::SelectManager loop;
  for (const auto& [limit, duration, result] : rows) {
    Expiry expiry;
    plat::Timer timer(&expiry);
    if (duration >= 0) timer.start(duration);
    EXPECT_EQ(loop.waitOnce(limit), result) << limit << " " << duration;
    EXPECT_EQ(expiry.count, result);  // it runs again, and used to count as nothing
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
      bytes += char(kicker->in()->readU8());
      if (bytes.back() == 'q') loop->stop();
      if (bytes.back() == 'd') return kicker->drain();
      kicker->in()->checkpoint();
    }
  }
  std::optional<TestLoop> loop{std::in_place};
  std::string bytes;
};

TEST(FdKicker, wakesTheLoopFromAnyThreadDropsWhatDoesNotFitAndMayOutliveTheLoop) {
  Kicked kicked;
  const plat::OwnedFd before(dup(0));
  std::optional<io::FdKicker> kicker(&kicked);
  kicker.reset();
  EXPECT_FALSE(kicked.loop->isWatching());
  kicker.emplace(&kicked);
  for (const std::string kicks : {"abq", "cq"}) {
    std::thread other([&] {
      for (char kick : kicks) kicker->kick(uint8_t(kick));
    });
    kicked.loop->run();
    other.join();
  }
  for (int i = 0; i < 200000; i++) {
    kicker->kick('d');
    if (i % 100000 == 99999) kicked.loop->runIdle();
  }
  EXPECT_EQ(kicked.bytes, "abqcqdd");
  kicked.loop.reset();
  kicker->kick(1);
  kicker.reset();
  EXPECT_EQ(plat::OwnedFd(dup(0)).get(), before.get() + 1);
  EXPECT_DEATH(io::FdKicker{&kicked}, "'fdMgr'");
}

}  // namespace
