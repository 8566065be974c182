// The streams on descriptors, with a clock and a select() that do what a test says.
#include <gtest/gtest.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <functional>

#include "base/plat/time.h"
#include "base/rdr/FdInStream.h"
#include "base/rdr/FdOutStream.h"
#include "base/rdr/FdWait.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/streams.h"

using namespace fakes;

namespace {

std::function<int()> onWait;  // how many descriptors are ready, or the negative error
std::string waits;            // "r7:250000 ": for reading from 7, at most so many microseconds

}  // namespace

extern "C" int select(int count, fd_set* toRead, fd_set* toWrite, fd_set*, timeval* limit) {
  const bool isIn = FD_ISSET(count - 1, toRead ? toRead : toWrite);
  waits += (toRead ? "r" : "w") + (isIn ? std::to_string(count - 1) : "nothing");
  if (limit) waits += ":" + std::to_string(limit->tv_sec * 1000000 + limit->tv_usec);
  waits += " ";
  const int result = onWait();
  errno = -result;
  return std::max(result, -1);
}

namespace {

class FdStreams : public testing::Test,
                  public plat::MonotonicSource,
                  public rdr::FdOutStream::Callback {
 protected:
  FdStreams() {
    signal(SIGPIPE, SIG_IGN);
    plat::setMonotonicSource(this);
    waits.clear();
    onWait = [] { return 0; };
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
  }
  ~FdStreams() override {
    plat::setMonotonicSource(nullptr);
    for (int end : ends) close(end);
  }
  plat::MonotonicReading read(plat::Ticks) override { return {ticks, false}; }
  void writeAttempted(rdr::FdOutStream*, bool full) override { told += full ? "full " : "some "; }
  void shutdownRequested(rdr::FdOutStream*) override { told += "shutdown "; }

  // All that can be read.
  std::string drain() {
    char all[1 << 20];
    return std::string(all, all + std::max<ssize_t>(::read(ends[0], all, sizeof all), 0));
  }
  void fill() { EXPECT_GT(write(ends[1], std::string(1 << 20, '.').data(), 1 << 20), 0); }
  // Waits until the results are used up, each after 1.1999999 s.
  std::string waitFor(int fd, int limitMs, bool toRead, std::vector<int> results) {
    rdr::FdWait wait(fd, limitMs);
    auto next = results.begin();
    onWait = [&] { return ticks += 1200 * plat::ticksPerMs - 1, *next++; };
    const std::string failure = thrownBy([&] {
      while (next != results.end()) {
        waits += (toRead ? wait.untilReadable() : wait.untilWritable()) ? "ready " : "late ";
      }
    });
    return std::exchange(waits, "") + failure;
  }

  int ends[2];  // the first one reads
  plat::Ticks ticks = 0;
  std::string told;
};

}  // namespace

TEST_F(FdStreams, waitsTogetherEndAtTheLimitOfTheFirst) {
  EXPECT_EQ(waitFor(7, 3456, true, {-EINTR, 1, -EINTR, 0}),
            "r7:3456000 r7:2257000 ready r7:1057000 r7:0 late ");
  EXPECT_EQ(waitFor(0, 0, false, {1, 0}), "w0:0 ready w0:0 late ");
  EXPECT_EQ(waitFor(1023, -1, false, {-EINTR, 1}), "w1023 w1023 ready ");
  EXPECT_EQ(waitFor(7, -1, true, {-EBADF}), "r7 System-9: select: Bad file descriptor (9)");
  EXPECT_EQ(waitFor(1024, 0, true, {1}), "System-24: select: Too many open files (24)");
}

TEST_F(FdStreams, readingWaitsForDataOrItsTimeOut) {
  rdr::FdInStream(ends[0]).setTimeout(0);
  rdr::FdInStream unmoved(ends[0]);
  unmoved.setTimeout(250);
  unmoved.setCloseOnDestroy(true);
  rdr::FdInStream in(std::move(unmoved)), none(-1);
  int tries = 0;
  onWait = [&] {
    ticks += 100 * plat::ticksPerMs;
    return ++tries < 3 || ::write(ends[1], "a", 1) == 1 ? 1 : 0;
  };
  EXPECT_EQ(in.readU8(), 'a');
  const std::string wait = "r" + std::to_string(ends[0]) + ":";
  EXPECT_EQ(waits, wait + "250000 " + wait + "150000 " + wait + "50000 ");
  onWait = [] { return 0; };
  EXPECT_EQ(thrownBy([&] { in.readU8(); }), "TimedOut: Timed out");
  in.setNonBlocking(true);
  EXPECT_EQ(thrownBy([&] { in.readU8(); }), ": Reading from InStream would block");
  close(std::exchange(ends[1], -1));
  EXPECT_EQ(thrownBy([&] { in.readU8(); }), "EndOfStream: End of IO stream");
  EXPECT_EQ(thrownBy([&] { none.readU8(); }), "System-9: read: Bad file descriptor (9)");
  in.setTimedOut();
  {
    rdr::FdInStream moved(std::move(in));
    EXPECT_EQ(thrownBy([&] { moved.readU8(); }), "TimedOut: Timed out");
    EXPECT_TRUE(moved.isTimedOut());
    EXPECT_EQ(in.getFd(), -1);
  }
  EXPECT_EQ(close(ends[0]), -1);
}

TEST_F(FdStreams, writingWaitsForRoomUnlessLazy) {
  {
    rdr::FdOutStream out(ends[1]);
    out.setCallback(this);
    fill();
    writeText(out, "last");
    EXPECT_EQ(thrownBy([&] { out.flush(); }), "TimedOut: Timed out");
    out.setWriteTimeout(250);
    onWait = [&] { return drain().empty() ? 0 : 1; };
    out.flush();
    EXPECT_EQ(drain(), "last");
    const std::string wait = "w" + std::to_string(ends[1]) + ":";
    EXPECT_EQ(std::exchange(waits, ""), wait + "30000000 " + wait + "250000 ");
    fill();
    writeText(out, "late");
    out.setLazy(true);
    EXPECT_TRUE(out.shutdown());
    drain();
    out.flush();
    EXPECT_EQ(told, "some full shutdown some ");
    EXPECT_EQ(thrownBy([] { rdr::FdOutStream(-1).shutdown(); }),
              "System-9: shutdown(SHUT_WR): Bad file descriptor (9)");
    writeText(out, ",end");
  }
  EXPECT_EQ(drain(), "late,end");
  fill();
  rdr::FdOutStream(ends[1]).writeU8('!');
  EXPECT_EQ(waits, "") << "destruction waited";
  EXPECT_TRUE(rdr::FdOutStream(ends[1]).shutdown());
  rdr::FdOutStream(ends[1]).setCloseOnDestroy(true);
  EXPECT_EQ(close(ends[1]), -1);
}

TEST_F(FdStreams, failedWriteIsThrownUnlessLazyAndTold) {
  CapturedLog log;
  const std::string failure = "write: Broken pipe (32)";
  rdr::FdOutStream out(ends[1], 16384);
  fill();
  out.skip(16384);
  out.setLazy(true);
  out.setThrowErrors(false);
  // These used to end the process.
  EXPECT_EQ(thrownBy([&] { out.skip(1); }).find("Assertion 'doesThrowErrors()' failed"), 15u);
  close(std::exchange(ends[0], -1));
  EXPECT_EQ(thrownBy([&] { out.skip(1); }).find("Assertion '!needWrite' failed"), 15u);
  log.take();
  out.flush();
  EXPECT_EQ(out.pendingBytes(), 16384);
  EXPECT_EQ(log.take(), std::vector<std::string>{"100 FdOutStream " + failure});
  EXPECT_EQ(thrownBy([&] { out.setLazy(false); }), "System-32: " + failure);
  out.setThrowErrors(true);
  EXPECT_EQ(thrownBy([&] { out.setLazy(true); }), "System-32: " + failure);
}
