#include "base/io/FdIo.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "base/io/IoHandler.h"
#include "base/plat/Configuration.h"
#include "base/plat/LogDest.h"
#include "base/plat/LogSrc.h"
#include "base/plat/unix/OwnedFd.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/MemOutStream.h"
#include "tests/support/TestLoop.h"

namespace {

using Strings = std::vector<std::string>;

// What the log source "FdIo" writes, as "<level> <text>".
class LogCapture : public plat::LogDest {
 public:
  LogCapture() : LogDest("capture") { plat::LogSrc::setLogSpec("FdIo:capture:100"); }
  ~LogCapture() override { plat::LogSrc::setLogSpec(nullptr); }
  void write(int messageLevel, const char*, const char* text) override {
    lines += std::to_string(messageLevel) + " " + text + "\n";
  }
  bool has(const std::string& start) const {
    return ("\n" + lines).find("\n" + start) != std::string::npos;
  }

 private:
  std::string lines;
};

void setFlushTimeout(const char* seconds) {
  ASSERT_TRUE(plat::Configuration::global().setParam("LazyFlushTimeout", seconds, 10));
}

class TrackedIo : public io::FdIo {
 public:
  TrackedIo(int newFd, bool isConnecting, bool& told)
      : FdIo(newFd, true, isConnecting, -1, -1, true), destroyed(told) {
    destroyed = false;
  }
  ~TrackedIo() override { destroyed = true; }

 private:
  bool& destroyed;
};

// Reads messages: a text behind its length of one byte.
struct Handler : io::IoHandler {
  void ioReadable(io::Io* io) override {
    while (true) {
      messages.emplace_back(io->in()->readStringU8().get());
      io->in()->checkpoint();
    }
  }
  void ioWritable(io::Io*) override { writableCalls++; }
  void ioShutdownComplete(io::Io*) override {
    completed++;
    if (failing) throw plat::Exception("no thanks");
  }
  int writableCalls = 0, completed = 0;
  bool failing = false;
  Strings messages;
};

// A connection, which ends itself or is ended by the test, and its peer's descriptor.
struct FdIoTest : testing::Test {
  std::optional<plat::OwnedFd> peer;
  bool destroyed = true;
  TrackedIo* io = nullptr;
  Handler handler;
  LogCapture log;

  void SetUp() override { connect(); }
  void TearDown() override {
    endIo();
    plat::Configuration::global().getParam("LazyFlushTimeout")->unsetParam(10);
  }
  void endIo() {
    if (!destroyed) delete io;
  }
  void connect(bool connecting = false) {
    endIo();
    int fds[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
    peer.emplace(fds[1]);
    io = new TrackedIo(fds[0], connecting, destroyed);
  }
  void send(const std::string& bytes) {
    ASSERT_EQ(::write(peer->get(), bytes.data(), bytes.size()), ssize_t(bytes.size()));
  }
  void write(const std::string& bytes) {
    io->out()->writeBytes(bytes.data(), static_cast<int>(bytes.size()));
  }
  // More than the socket takes.
  const std::string backlog = std::string(4000000, 'b');
  void writeBacklog() {
    write(backlog);
    io->out()->flush();
    ASSERT_GT(io->out()->pendingBytes(), 0);
  }
  // What has arrived now; `ended` tells of the end behind it.
  std::string receive(bool* ended = nullptr) {
    std::string bytes;
    char buffer[65536];
    ssize_t count;
    while ((count = recv(peer->get(), buffer, sizeof buffer, MSG_DONTWAIT)) > 0) {
      bytes.append(buffer, static_cast<size_t>(count));
    }
    if (ended) *ended = count == 0;
    return bytes;
  }
  std::string receiveToEnd(TestLoop& manager) {
    std::string bytes;
    bool ended = false;
    EXPECT_TRUE(manager.runUntil([&] {
      bytes += receive(&ended);
      return ended;
    }));
    return bytes;
  }
};

TEST_F(FdIoTest, blockingStreamsHonourTheirTimeout) {
  auto start = std::chrono::steady_clock::now();
  io->setTimeout(20);
  EXPECT_THROW(io->in()->readU8(), plat::TimedOut);
  write(backlog);
  EXPECT_THROW(io->out()->flush(), plat::TimedOut);
  // Not the 30 seconds of a stream that was not told.
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST_F(FdIoTest, failedAttachClosesWhatItWasGivenToClose) {
  for (bool owned : {true, false}) {
    // A descriptor that refuses status flags.
    plat::OwnedFd fd(open("/", O_PATH | O_CLOEXEC));
    EXPECT_THROW(io::FdIo(fd.get(), owned, false, -1, -1, true), plat::SystemException);
    EXPECT_EQ(fcntl(fd.get(), F_GETFD) < 0, owned);
    if (owned) fd.release();
  }
}

TEST_F(FdIoTest, descriptorOutlivesAnObjectThatDoesNotOwnIt) {
  plat::OwnedFd fd(open("/dev/null", O_WRONLY | O_CLOEXEC));
  {
    io::FdIo late(-1, false, false, -1, -1, false);
    late.attach(fd.get(), false, -1, -1, false);
    EXPECT_EQ(late.name(), "<fd" + std::to_string(fd.get()) + ">");
    EXPECT_DEATH(late.attach(0, false, -1, -1, false), "'fd < 0'");
    EXPECT_THROW(late.getSocketError(), plat::SystemException);
  }
  EXPECT_GE(fcntl(fd.get(), F_GETFD), 0);
}

TEST_F(FdIoTest, socketErrorIsReadOnceAndKept) {
  write("unread");
  io->out()->flush();
  peer.reset();  // a reset, as data was left unread
  EXPECT_EQ(io->getSocketError(), ECONNRESET);
  EXPECT_EQ(io->getSocketError(), ECONNRESET);
}

TEST_F(FdIoTest, stateMovesFlagsAndUnreadBytes) {
  send("consumed and left");
  io->in()->skip(9);
  io->getFlags().insert("b");
  io->getFlags().insert("a");
  rdr::MemOutStream state;
  io->writeState(state);
  std::string written(reinterpret_cast<const char*>(state.data()), state.length());
  EXPECT_EQ(written, std::string("\2\1a\1b\0\0\0\x8", 9) + "and left");

  const std::string input("\3\1b\1b\2x\xff\0\0\0\1!", 13);
  rdr::MemInStream source(input.data(), static_cast<int>(input.size()));
  io->readState(source);
  EXPECT_EQ(io->getFlags().size(), 3);
  EXPECT_TRUE(io->getFlags().contains("x\xef\xbf\xbd"));
  char text[9];
  io->in()->readBytes(text, 9);
  EXPECT_EQ(std::string(text, 9), "and left!");

  rdr::MemInStream tooMuch("\0\0\0\x80", 5);
  EXPECT_THROW(io->readState(tooMuch), plat::Exception);
  for (int i = 3; i < 255; i++) io->getFlags().insert(std::to_string(i).c_str());
  io->writeState(state);
  io->getFlags().insert("one too many");
  EXPECT_DEATH(io->writeState(state), "'flags.size\\(\\) < 256'");
}

TEST_F(FdIoTest, shutdownInBlockingModeIsImmediate) {
  EXPECT_DEATH(io->shutdown(false, true), "'!tellHandler'");
  EXPECT_DEATH(io->setHandler(&handler, false), "'fdMgr'");
  write("bye");
  char text[100];
  snprintf(text, sizeof text, "%p (fd=%d)", static_cast<void*>(io), io->getFd());
  io->shutdown(false, false);
  EXPECT_TRUE(destroyed);
  bool ended;
  EXPECT_EQ(receive(&ended), "bye");
  EXPECT_TRUE(ended);
  EXPECT_TRUE(log.has(std::string("100 shutdown ") + text + ", flush false (tellHandler false)\n"));
  EXPECT_TRUE(log.has(std::string("100 immediate shutdown ") + text + "\n"));
}

TEST_F(FdIoTest, messagesArriveWholeAndTheEndShutsDown) {
  TestLoop manager;
  io->setHandler(&handler, true);
  const std::string stream = "\3one\5three";
  for (size_t i = 0; i < stream.size(); i++) {
    send(stream.substr(i, 1));
    manager.runIdle();
    EXPECT_EQ(handler.messages.size(), i < 3 ? 0u : i < 9 ? 1u : 2u) << i;
  }
  EXPECT_EQ(handler.messages, (Strings{"one", "three"}));
  EXPECT_EQ(handler.writableCalls, 1);
  peer.reset();
  manager.runIdle();
  EXPECT_EQ(handler.completed, 1);
  EXPECT_TRUE(destroyed);
  EXPECT_TRUE(log.has("30 Read error: End of IO stream\n"));
  EXPECT_TRUE(log.has("100 shutdown complete "));
}

TEST_F(FdIoTest, bufferedBytesAreToldOfWithoutNewOnes) {
  TestLoop manager;
  send("\1a\1b\1c");
  EXPECT_STREQ(io->in()->readStringU8().get(), "a");
  io->setHandler(&handler, false);
  manager.runIdle();
  EXPECT_EQ(handler.messages, Strings{});
  io->markReadable();
  EXPECT_EQ(manager.getTimers().getTimeout(), 0);
  manager.runIdle();
  EXPECT_EQ(handler.messages, (Strings{"b", "c"}));

  io->setHandler(nullptr, true);
  send("\1d\1e");
  EXPECT_STREQ(io->in()->readStringU8().get(), "d");
  io->setHandler(&handler, true);
  EXPECT_EQ(manager.getTimers().getTimeout(), 0);
  manager.runIdle();
  EXPECT_EQ(handler.messages, (Strings{"b", "c", "e"}));
}

TEST_F(FdIoTest, connectingWaitsToBecomeWritable) {
  connect(true);
  TestLoop manager;
  io->setHandler(&handler, true);
  manager.processEvents();
  EXPECT_EQ(handler.writableCalls, 0);
  manager.runIdle();
  EXPECT_EQ(handler.writableCalls, 1);
}

TEST_F(FdIoTest, backlogGoesOutAsThePeerReads) {
  TestLoop manager;
  io->setHandler(&handler, false);
  writeBacklog();
  std::string received;
  EXPECT_TRUE(manager.runUntil([&] {
    received += receive();
    return received.size() == backlog.size();
  }));
  EXPECT_EQ(received, backlog);
  EXPECT_EQ(io->out()->pendingBytes(), 0);
  // Nothing that would end the connection later is left running.
  manager.runIdle();
  EXPECT_EQ(manager.getTimers().getTimeout(), -1);
}

TEST_F(FdIoTest, flushingShutdownDeliversEverythingFirst) {
  for (bool full : {true, false}) {
    SCOPED_TRACE(full);
    connect();
    TestLoop manager;
    handler = {};
    handler.failing = true;
    io->setHandler(&handler, false);
    full ? writeBacklog() : write("bye");
    io->shutdown(true, full);
    EXPECT_FALSE(destroyed);
    // A write of the owner must not lose the event that ends the shutdown.
    if (!full) io->out()->flush();
    send("\1x");  // not read any more
    EXPECT_EQ(receiveToEnd(manager), full ? backlog : "bye");
    EXPECT_TRUE(destroyed);
    EXPECT_EQ(handler.messages, Strings{});
    EXPECT_EQ(handler.completed, full);
  }
  EXPECT_TRUE(log.has("30 Shutdown error: no thanks\n"));
}

TEST_F(FdIoTest, streamShutdownClosesTheWriteSideOnceDelivered) {
  for (bool full : {true, false}) {
    SCOPED_TRACE(full);
    connect();
    TestLoop manager;
    handler = {};
    io->setHandler(&handler, false);
    full ? writeBacklog() : write("bye");  // never flushed by its writer
    EXPECT_TRUE(io->out()->shutdown());
    EXPECT_EQ(receiveToEnd(manager), full ? backlog : "bye");
    send("\2hi");
    manager.runIdle();
    EXPECT_EQ(handler.messages, Strings{"hi"});
    EXPECT_FALSE(destroyed);
    connect();
  }
}

TEST_F(FdIoTest, peerThatTakesNothingTimesOut) {
  setFlushTimeout("0");
  for (bool shuttingDown : {false, true}) {
    SCOPED_TRACE(shuttingDown);
    connect();
    TestLoop manager;
    handler = {};
    io->setHandler(&handler, false);
    writeBacklog();
    if (shuttingDown) io->shutdown(true, false);
    manager.runIdle();
    EXPECT_EQ(handler.completed, !shuttingDown);
    EXPECT_TRUE(destroyed);
  }
  EXPECT_TRUE(log.has("30 Read error: Timed out\n"));
}

TEST_F(FdIoTest, flushTimeoutIsCappedToWhatATimerCanHold) {
  struct {
    const char* seconds;
    int ms;
  } table[] = {{"60", 60000}, {"2147483", 2147483000}, {"2147484", 2147483647}};
  for (auto& row : table) {
    setFlushTimeout(row.seconds);
    TestLoop manager;
    io->setHandler(&handler, false);
    writeBacklog();
    manager.runIdle();
    EXPECT_LE(manager.getTimers().getTimeout(), row.ms);
    EXPECT_GT(manager.getTimers().getTimeout(), row.ms - 20000) << row.seconds;
    io->shutdown(false, false);
    manager.runIdle();
    connect();
  }
}

TEST_F(FdIoTest, writeErrorShutsDown) {
  TestLoop manager;
  io->setHandler(&handler, false);
  writeBacklog();
  shutdown(peer->get(), SHUT_RD);
  receive();  // makes room
  manager.runIdle();
  EXPECT_TRUE(log.has("30 Write error: write: "));
  EXPECT_EQ(handler.completed, 1);
  EXPECT_TRUE(destroyed);
}

TEST_F(FdIoTest, managerThatGoesFinishesShutdownsAndLeavesTheRest) {
  for (bool shuttingDown : {true, false}) {
    connect();
    {
      TestLoop manager;
      io->setHandler(&handler, true);
      if (shuttingDown) io->shutdown(true, true);
    }
    EXPECT_EQ(destroyed, shuttingDown);
  }
  EXPECT_EQ(handler.completed, 1);
  EXPECT_TRUE(log.has("100 shutdown completed by FdManager dtor "));
}

TEST_F(FdIoTest, destructionLeavesTheManagerInEveryState) {
  for (int state : {0, 1, 2}) {
    SCOPED_TRACE(state);
    connect();
    TestLoop manager;
    io->setHandler(&handler, true);
    if (state > 0) io->shutdown(true, state == 1);
    endIo();
    EXPECT_FALSE(manager.isWatching());
    manager.runIdle();
    EXPECT_EQ(handler.completed, 0);
  }
}

}  // namespace
