#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <memory>

#include "base/plat/time.h"
#include "base/rdr/FdInStream.h"
#include "base/rdr/FdOutStream.h"
#include "tests/support/streams.h"

using fakes::patternBytes;
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
  void put(const std::string& bytes) {
    ASSERT_EQ(write(fds[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
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

// A timer that interrupts every 2 ms and acts at its third signal.
class Interrupts {
 public:
  explicit Interrupts(void (*newAction)()) {
    count = 0;
    action = newAction;
    struct sigaction handler {};
    handler.sa_handler = [](int) {
      count = count + 1;
      if (count == 3 && action) action();
    };
    sigaction(SIGALRM, &handler, &former);
    itimerval every{{0, 2000}, {0, 2000}};
    setitimer(ITIMER_REAL, &every, nullptr);
  }
  ~Interrupts() {
    itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &former, nullptr);
  }
  static volatile sig_atomic_t count;

 private:
  static void (*action)();
  struct sigaction former;
};
volatile sig_atomic_t Interrupts::count;
void (*Interrupts::action)();

int actedOn;  // the descriptor that an action uses

// A descriptor that select() cannot take.
struct HighFd {
  explicit HighFd(int from) {
    getrlimit(RLIMIT_NOFILE, &former);
    rlimit raised{std::max<rlim_t>(former.rlim_cur, 1100), former.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &raised), 0);
    fd = dup2(from, 1024);
    EXPECT_EQ(fd, 1024);
  }
  ~HighFd() {
    close(fd);
    setrlimit(RLIMIT_NOFILE, &former);
  }
  int fd;
  rlimit former;
};

class Recorder final : public rdr::FdOutStream::Callback {
 public:
  void writeAttempted(rdr::FdOutStream*, bool wouldBlock) override {
    log += wouldBlock ? 'b' : 'w';
  }
  void shutdownRequested(rdr::FdOutStream*) override { log += 's'; }
  std::string log;
};

bool isOpen(int fd) {
  return fcntl(fd, F_GETFD) >= 0;
}

const std::string brokenPipe = "System-32: write: Broken pipe (32)";

class FdStreams : public testing::Test {
 protected:
  static void SetUpTestSuite() { signal(SIGPIPE, SIG_IGN); }
  Pipe pipe;
};
using FdInStream = FdStreams;
using FdOutStream = FdStreams;

}  // namespace

TEST_F(FdInStream, readsWhatIsThereAndThenTheEnd) {
  pipe.put("abc");
  rdr::FdInStream in(pipe.fds[0]);
  EXPECT_EQ(in.readU16(), 0x6162);
  EXPECT_EQ(in.nUnread(), 1);
  pipe.closeEnd(1);
  in.skip(1);
  EXPECT_EQ(thrownBy([&] { in.readU8(); }), "EndOfStream: End of IO stream");
}

TEST_F(FdInStream, nonBlockingReadOfAnEmptyPipeFindsNothing) {
  rdr::FdInStream in(pipe.fds[0]);
  in.setNonBlocking(true);
  EXPECT_FALSE(in.overrun(false, 1));
  EXPECT_THROW(in.readU8(), rdr::BlockException);
  pipe.put("x");
  EXPECT_EQ(in.readU8(), 'x');
}

TEST_F(FdInStream, interruptedWaitStillEndsAtItsDeadline) {
  rdr::FdInStream in(pipe.fds[0]);
  in.setTimeout(100);
  Interrupts interrupts(nullptr);
  plat::Ticks start = plat::monotonicNow();
  EXPECT_EQ(thrownBy([&] { in.readU8(); }), "TimedOut: Timed out");
  EXPECT_GE(plat::monotonicNow() - start, 100 * plat::ticksPerMs);
  EXPECT_GT(Interrupts::count, 0);
}

TEST_F(FdInStream, interruptedWaitGoesOnUntilDataComes) {
  for (int timeoutMs : {-1, 60000}) {
    rdr::FdInStream in(pipe.fds[0]);
    in.setTimeout(timeoutMs);
    actedOn = pipe.fds[1];
    Interrupts interrupts([] {
      if (write(actedOn, "y", 1) != 1) abort();
    });
    EXPECT_EQ(in.readU8(), 'y');
  }
}

TEST_F(FdInStream, timedOutStreamFailsEvenWithDataWaiting) {
  pipe.put("abc");
  rdr::FdInStream in(pipe.fds[0], 2);
  EXPECT_EQ(in.readU8(), 'a');
  in.setTimedOut();
  EXPECT_EQ(in.readU8(), 'b');
  in.checkpoint();
  EXPECT_THROW(in.readU8(), plat::TimedOut);
}

TEST_F(FdInStream, descriptorThatSelectCannotTakeIsReadButNotWaitedFor) {
  HighFd high(pipe.fds[0]);
  rdr::FdInStream in(high.fd);
  pipe.put("z");
  EXPECT_EQ(in.readU8(), 'z');
  EXPECT_EQ(thrownBy([&] { in.readU8(); }), "System-24: select: Too many open files (24)");
}

TEST_F(FdInStream, readErrorNamesTheCall) {
  rdr::FdInStream in(pipe.fds[1]);
  EXPECT_EQ(thrownBy([&] { in.readU8(); }), "System-9: read: Bad file descriptor (9)");
}

TEST_F(FdInStream, lastOwnerOfTheDescriptorClosesItWhenAsked) {
  int fd = dup(pipe.fds[0]);
  { rdr::FdInStream in(fd); }
  EXPECT_TRUE(isOpen(fd));
  pipe.put("pq");
  {
    rdr::FdInStream first(fd);
    first.setCloseOnDestroy(true);
    EXPECT_EQ(first.readU8(), 'p');
    rdr::FdInStream second(std::move(first));
    EXPECT_EQ(first.getFd(), -1);  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(second.readU8(), 'q');
  }
  EXPECT_FALSE(isOpen(fd));
}

TEST_F(FdOutStream, lazyStreamOnAFullPipeKeepsTheRestAndTellsOfTheBlock) {
  rdr::FdOutStream out(pipe.fds[1]);
  Recorder recorder;
  out.setCallback(&recorder);
  out.setLazy(true);
  const std::string bytes = patternBytes(300000);
  out.writeBytes(bytes.data(), 300000);
  out.flush();
  EXPECT_EQ(recorder.log.front(), 'w');
  EXPECT_EQ(recorder.log.back(), 'b');
  EXPECT_GT(out.pendingBytes(), 0);
  std::string received;
  while (out.pendingBytes() > 0) {
    received += pipe.drain();
    out.flush();
  }
  EXPECT_EQ(received + pipe.drain(), bytes);
}

TEST_F(FdOutStream, blockingWriteToAFullPipeTimesOutAndKeepsItsBytes) {
  pipe.fill();
  rdr::FdOutStream out(pipe.fds[1]);
  out.setWriteTimeout(50);
  out.writeU8('x');
  Interrupts interrupts(nullptr);
  plat::Ticks start = plat::monotonicNow();
  EXPECT_EQ(thrownBy([&] { out.flush(); }), "TimedOut: Timed out");
  EXPECT_GE(plat::monotonicNow() - start, 50 * plat::ticksPerMs);
  EXPECT_EQ(out.pendingBytes(), 1);
}

TEST_F(FdOutStream, interruptedWaitGoesOnUntilThereIsRoom) {
  for (int timeoutMs : {-1, 60000}) {
    pipe.fill();
    rdr::FdOutStream out(pipe.fds[1]);
    out.setWriteTimeout(timeoutMs);
    out.writeBytes("last", 4);
    actedOn = pipe.fds[0];
    Interrupts interrupts([] {
      char block[4096];
      while (read(actedOn, block, sizeof block) > 0) {
      }
    });
    out.flush();
    EXPECT_EQ(pipe.drain(), "last");
  }
}

TEST_F(FdOutStream, brokenPipeIsThrownUnlessLazyAndTold) {
  pipe.closeEnd(0);
  rdr::FdOutStream out(pipe.fds[1], 16384);
  out.writeU8('x');
  EXPECT_EQ(thrownBy([&] { out.flush(); }), brokenPipe);
  out.setThrowErrors(false);
  EXPECT_EQ(thrownBy([&] { out.flush(); }), brokenPipe) << "a blocking stream throws in any case";
  out.setLazy(true);
  out.flush();
  EXPECT_EQ(out.pendingBytes(), 1);
  out.setThrowErrors(true);
  EXPECT_EQ(thrownBy([&] { out.flush(); }), brokenPipe);
}

TEST_F(FdOutStream, silentLazyStreamThatMustWriteIsABug) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  rdr::FdOutStream out(pipe.fds[1], 16384);
  out.setThrowErrors(false);
  out.setLazy(true);
  out.setWriteTimeout(0);
  EXPECT_DEATH(
      {
        pipe.fill();
        for (int i = 0; i <= 16384; ++i) out.writeU8(0);
      },
      "Assertion 'doesThrowErrors\\(\\)' failed");
  EXPECT_DEATH(
      {
        pipe.closeEnd(0);
        for (int i = 0; i <= 16384; ++i) out.writeU8(0);
      },
      "Assertion '!needWrite' failed");
}

TEST_F(FdOutStream, shutdownWaitsForWhatIsPending) {
  int sockets[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, sockets), 0);
  char byte;
  {
    rdr::FdOutStream out(sockets[0]);
    out.setCloseOnDestroy(true);
    Recorder recorder;
    out.setCallback(&recorder);
    out.writeU8('x');
    EXPECT_TRUE(out.shutdown());
    EXPECT_EQ(recorder.log, "s");
    out.flush();
    EXPECT_EQ(read(sockets[1], &byte, 1), 1);
    EXPECT_EQ(read(sockets[1], &byte, 1), -1) << "the write direction was ended too early";
    EXPECT_TRUE(out.shutdown());
    EXPECT_EQ(read(sockets[1], &byte, 1), 0);
    EXPECT_EQ(recorder.log, "sws");
  }
  EXPECT_FALSE(isOpen(sockets[0]));
  close(sockets[1]);
  rdr::FdOutStream noSocket(pipe.fds[1]);
  EXPECT_EQ(thrownBy([&] { noSocket.shutdown(); }).substr(0, 27), "System-88: shutdown(SHUT_WR");
}

TEST_F(FdOutStream, destructionDeliversWhatThePipeTakesNow) {
  { rdr::FdOutStream(pipe.fds[1]).writeBytes("bye", 3); }
  EXPECT_EQ(pipe.drain(), "bye");
  pipe.fill();
  { rdr::FdOutStream(pipe.fds[1]).writeBytes("dropped", 7); }
  pipe.closeEnd(0);
  { rdr::FdOutStream(pipe.fds[1]).writeBytes("broken", 6); }
}
