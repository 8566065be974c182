#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <utility>

#include "base/plat/time.h"
#include "base/rdr/FdInStream.h"
#include "base/rdr/FdOutStream.h"
#include "tests/support/streams.h"

using fakes::thrownBy;

namespace {

// Both ends without waiting; [0] reads, [1] writes.
struct Pipe {
  Pipe() { EXPECT_EQ(pipe2(fds, O_NONBLOCK | O_CLOEXEC), 0); }
  ~Pipe() {
    closeEnd(0);
    closeEnd(1);
  }
  void closeEnd(int end) {
    if (fds[end] >= 0) close(fds[end]);
    fds[end] = -1;
  }
  // Everything that is in it.
  std::string drain() {
    std::string all;
    char block[4096];
    for (ssize_t n; (n = read(fds[0], block, sizeof block)) > 0;) all.append(block, n);
    return all;
  }
  void fill() {
    char block[4096] = {};
    while (write(fds[1], block, sizeof block) > 0) {
    }
    while (write(fds[1], block, 1) > 0) {
    }
  }
  int fds[2];
};

void (*action)();
volatile sig_atomic_t interruptions;
int actedOn;  // the descriptor that an action uses

// A timer that interrupts every 2 ms and acts at its third signal.
struct Interrupts {
  explicit Interrupts(void (*newAction)()) {
    interruptions = 0;
    action = newAction;
    signal(SIGALRM, [](int) {
      interruptions = interruptions + 1;
      if (interruptions == 3 && action) action();
    });
    itimerval every{{0, 2000}, {0, 2000}};
    setitimer(ITIMER_REAL, &every, nullptr);
  }
  ~Interrupts() {
    itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
  }
};

const std::string brokenPipe = "System-32: write: Broken pipe (32)";

class FdStreams : public testing::Test {
 protected:
  static void SetUpTestSuite() { signal(SIGPIPE, SIG_IGN); }
  Pipe pipe;
};

}  // namespace

TEST_F(FdStreams, interruptedWaitStillEndsAtItsDeadline) {
  rdr::FdInStream in(pipe.fds[0]);
  in.setTimeout(100);
  Pipe full;
  full.fill();
  rdr::FdOutStream out(full.fds[1]);
  out.setWriteTimeout(100);
  out.writeU8('x');
  Interrupts interrupts(nullptr);
  plat::Ticks start = plat::monotonicNow();
  EXPECT_THROW(in.readU8(), plat::TimedOut);
  EXPECT_THROW(out.flush(), plat::TimedOut);
  EXPECT_GE(plat::monotonicNow() - start, 200 * plat::ticksPerMs);
  EXPECT_EQ(out.pendingBytes(), 1);
  EXPECT_GT(interruptions, 0);
}

TEST_F(FdStreams, interruptedWaitGoesOnUntilThereIsDataOrRoom) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the thread sanitizer holds signal handlers back while a call waits";
#endif
  for (int timeoutMs : {-1, 60000}) {
    pipe.fill();
    rdr::FdOutStream out(pipe.fds[1]);
    out.setWriteTimeout(timeoutMs);
    out.writeBytes("last", 4);
    actedOn = pipe.fds[0];
    {
      Interrupts interrupts([] {
        char block[4096];
        while (read(actedOn, block, sizeof block) > 0) {
        }
      });
      out.flush();
    }
    EXPECT_EQ(pipe.drain(), "last");

    rdr::FdInStream in(pipe.fds[0]);
    in.setTimeout(timeoutMs);
    actedOn = pipe.fds[1];
    Interrupts interrupts([] {
      if (write(actedOn, "y", 1) != 1) abort();
    });
    EXPECT_EQ(in.readU8(), 'y');
  }
}

TEST_F(FdStreams, movingTakesTheDescriptorAndWhatIsBuffered) {
  ASSERT_EQ(write(pipe.fds[1], "abc", 3), 3);
  rdr::FdInStream first(pipe.fds[0]);
  EXPECT_EQ(first.readU8(), 'a');
  rdr::FdInStream second(std::move(first));
  EXPECT_EQ(first.getFd(), -1);
  EXPECT_EQ(second.getFd(), pipe.fds[0]);
  EXPECT_EQ(second.readU16(), 'b' << 8 | 'c');
}

TEST_F(FdStreams, brokenPipeIsThrownUnlessLazyAndTold) {
  pipe.closeEnd(0);
  rdr::FdOutStream out(pipe.fds[1], 16384);
  out.writeU8('x');
  EXPECT_EQ(thrownBy([&] { out.flush(); }), brokenPipe);
  out.setThrowErrors(false);
  EXPECT_EQ(thrownBy([&] { out.flush(); }), brokenPipe) << "a blocking stream throws in any case";
  out.setLazy(true);
  out.flush();
  EXPECT_EQ(out.pendingBytes(), 1);
  // It used to end the process when its buffer was full besides.
  EXPECT_THROW(out.skip(16384), plat::AssertionFail);
}
