#include "base/io/unix/SelectManager.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <thread>
#include <vector>

#include "base/io/FdHandler.h"
#include "base/io/unix/FdKicker.h"
#include "base/os/SocketUtil.h"
#include "base/plat/Timer.h"

namespace {

// Both ends of a pipe; counts its events.
struct PipeHandler : io::FdHandler {
  explicit PipeHandler(bool watchWriteEnd = false) : FdHandler(-1) {
    os::createPipe(ends);
    fd = ends[watchWriteEnd];
    os::setBlocking(fd, false);
    io::FdManager::current()->addHandler(this);
    wait(watchWriteEnd ? io::interestWrite : io::interestRead);
  }
  ~PipeHandler() override {
    io::FdManager::current()->removeHandler(this);
    close(ends[0]);
    close(ends[1]);
  }
  void wait(unsigned interest) { io::FdManager::current()->setInterest(this, interest); }
  void send() { EXPECT_EQ(write(ends[1], "x", 1), 1); }
  void fdReadable() override {
    char byte;
    EXPECT_EQ(read(fd, &byte, 1), 1);
    readable++;
    if (whenReadable) whenReadable();
  }
  void fdWritable() override { writable++; }

  int ends[2];
  int readable = 0, writable = 0;
  std::function<void()> whenReadable;
};

struct CountingTimer : plat::Timer::Callback {
  explicit CountingTimer(int restarts) : timer(this), left(restarts) {}
  bool timerExpired(plat::Timer*) override {
    expired++;
    return left-- > 0;
  }
  plat::Timer timer;
  int left, expired = 0;
};

}  // namespace

TEST(SelectManager, reportsWhatIsAskedForAndNothingElse) {
  io::SelectManager loop;
  EXPECT_FALSE(loop.isWatching());
  EXPECT_FALSE(loop.waitOnce(0));
  PipeHandler idle, busy, writer(true);
  busy.send();
  busy.send();
  EXPECT_TRUE(loop.waitOnce(0));
  EXPECT_EQ(busy.readable, 1);
  EXPECT_EQ(writer.writable, 1);
  busy.wait(0);
  writer.wait(0);
  EXPECT_FALSE(loop.waitOnce(0));
  busy.wait(io::interestRead);
  EXPECT_TRUE(loop.waitOnce(0));
  EXPECT_EQ(busy.readable, 2);
  EXPECT_EQ(idle.readable + idle.writable + busy.writable + writer.readable, 0);
  EXPECT_EQ(writer.writable, 1);
}

TEST(SelectManager, waitIsBoundedByTimersThatRestartThemselves) {
  io::SelectManager loop;
  PipeHandler idle;
  CountingTimer timer(2);
  timer.timer.start(5);
  // The wait used to say that nothing happened.
  while (timer.expired < 3) EXPECT_TRUE(loop.waitOnce());
  EXPECT_FALSE(timer.timer.isRunning());
  EXPECT_FALSE(loop.waitOnce(0));
}

TEST(SelectManager, runEndsWhenItsThreadIsKickedAndTold) {
  io::SelectManager loop;
  struct Stopper : io::FdKickerCallback {
    explicit Stopper(io::SelectManager& loop_) : loop(loop_) {}
    void kicked(io::FdKicker* kicker) override {
      kicker->drain();
      if (++kicks == 3) loop.stop();
      seen = kicks;
    }
    io::SelectManager& loop;
    int kicks = 0;
    std::atomic<int> seen = 0;
  } stopper(loop);
  io::FdKicker kicker(&stopper);
  std::thread other([&] {
    for (int i = 0; i < 3; i++) {
      kicker.kick(0);
      while (stopper.seen == i) std::this_thread::yield();
    }
  });
  loop.run();
  other.join();
  EXPECT_EQ(stopper.kicks, 3);
}

// What a handler does in its event to others: the rest of the turn must not touch them.
TEST(SelectManager, handlersMayComeAndGoInsideAnEvent) {
  io::SelectManager loop;
  auto first = std::make_unique<PipeHandler>(), second = std::make_unique<PipeHandler>();
  std::vector<std::unique_ptr<PipeHandler>> late;
  auto replace = [&](std::unique_ptr<PipeHandler>& other) {
    other.reset();
    // Takes the descriptors that have just become free.
    late.push_back(std::make_unique<PipeHandler>());
  };
  first->whenReadable = [&] { replace(second); };
  second->whenReadable = [&] { replace(first); };
  first->send();
  second->send();
  EXPECT_TRUE(loop.waitOnce(0));
  ASSERT_EQ(late.size(), 1u);
  EXPECT_EQ(late[0]->readable, 0);
  late[0]->send();
  EXPECT_TRUE(loop.waitOnce(0));
  EXPECT_EQ(late[0]->readable, 1);
}

TEST(SelectManager, descriptorBeyondTheSetIsRefused) {
  rlimit limit;
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  rlimit raised = {std::max<rlim_t>(limit.rlim_cur, FD_SETSIZE + 1), limit.rlim_max};
  if (setrlimit(RLIMIT_NOFILE, &raised) < 0) GTEST_SKIP() << "the descriptor limit is too low";
  io::SelectManager loop;
  PipeHandler ordinary;
  struct Handler : io::FdHandler {
    explicit Handler(int number) : FdHandler(number) {}
    void fdReadable() override {}
  };
  for (int number : {FD_SETSIZE - 1, static_cast<int>(FD_SETSIZE)}) {
    ASSERT_EQ(dup2(ordinary.ends[0], number), number);
    Handler handler(number);
    loop.addHandler(&handler);
    EXPECT_EQ(loop.setInterest(&handler, io::interestRead), number < FD_SETSIZE);
    EXPECT_TRUE(loop.setInterest(&handler, 0));
    loop.removeHandler(&handler);
    close(number);
  }
  setrlimit(RLIMIT_NOFILE, &limit);
  ordinary.send();
  EXPECT_TRUE(loop.waitOnce(0));
  EXPECT_EQ(ordinary.readable, 1);
}
