#include "base/plat/logipc/LogDestIpc.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <csignal>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/io/FdIo.h"
#include "base/os/SocketUtil.h"
#include "base/plat/Assertion.h"
#include "base/plat/LogSrc.h"
#include "base/plat/unix/OwnedFd.h"
#include "tests/io/PollManager.h"
#include "tests/support/streams.h"

namespace {

using Strings = std::vector<std::string>;

plat::LogSrc source("Testing");

plat::LogDestIpc& dest() {
  return plat::LogDestIpc::instance();
}

io::FdIo* newIo(int fd) {
  return new io::FdIo(fd, true, false, -1, -1, true);
}

// The server that collects the logs. Records read "<level> <source> <text>".
struct Server : io::MsgIpc::Reader {
  explicit Server(bool blocking = false) : ipc(nullptr, "server", blocking, false) {
    ipc.registerReader("logMsg", this);
  }
  bool readMsg(const char*, rdr::InStream& in, io::MsgIpc*) override {
    std::string record = std::to_string(in.readS32());
    record += " " + in.readStdString(INT_MAX);
    record += " " + in.readStdString(1024);
    records.push_back(record);
    return true;
  }
  void setLevel(int level) {
    rdr::OutStreamV4& out = ipc.writeMsg("setLogLevel");
    out.writeS32(level);
    out.endMsg(true);
  }

  io::MsgIpc ipc;
  Strings records;
};

struct LogDestIpcTest : testing::Test {
  PollManager manager;
  io::MsgIpc channel{nullptr, "channel", false, true};
  std::optional<Server> server;

  LogDestIpcTest() {
    plat::LogSrc::setLogSpec("Testing:ipc:100");
    dest().setMsgIpc(&channel);
    connect();
  }
  // Leaves nothing queued and no level for the next test.
  ~LogDestIpcTest() override {
    plat::LogSrc::setLogSpec(nullptr);
    if (!channel.isConnected()) connect();
    server->setLevel(INT_MAX);
    manager.runIdle();
    dest().setMsgIpc(nullptr);
  }
  void connect() {
    int fds[2];
    os::createSocketPair(AF_UNIX, SOCK_STREAM, 0, fds);
    server.emplace();
    server->ipc.acceptIo(newIo(fds[1]));
    channel.acceptIo(newIo(fds[0]));
  }
  void disconnect() {
    server->ipc.close(false);
    ASSERT_TRUE(manager.runUntil([&] { return !channel.isConnected(); }));
  }
  Strings received() {
    manager.runIdle();
    Strings taken;
    taken.swap(server->records);
    return taken;
  }
};

TEST_F(LogDestIpcTest, messagesWaitForTheLevelAndThenFollowIt) {
  source.info("one");
  source.debug("two");
  EXPECT_EQ(received(), Strings{});
  server->setLevel(30);
  // What has been taken in before is not filtered again.
  EXPECT_EQ(received(), (Strings{"30 Testing one", "100 Testing two"}));
  EXPECT_EQ(source.getLevel(), 30);
  source.debug("three");
  source.write(100, "four");
  source.info("five");
  EXPECT_EQ(received(), Strings{"30 Testing five"});
  server->setLevel(-1);
  manager.runIdle();
  source.error("six");
  EXPECT_EQ(received(), Strings{});
}

TEST_F(LogDestIpcTest, messagesWaitWhileTheServerIsAway) {
  server->setLevel(100);
  manager.runIdle();
  for (int round = 0; round < 3; round++) {
    disconnect();
    source.info("round %d", round);
    connect();
    source.info("reconnected");
    EXPECT_EQ(received(), Strings{});
    server->setLevel(30);
    EXPECT_EQ(received(),
              (Strings{"30 Testing round " + std::to_string(round), "30 Testing reconnected"}));
  }
}

TEST_F(LogDestIpcTest, overflowIsToldOnceAndNewRoomIsUsed) {
  for (int i = 0; i < 1010; i++) source.info("%d", i);
  server->setLevel(INT_MAX);
  const Strings records = received();
  ASSERT_EQ(records.size(), 1001u);
  EXPECT_EQ(records[999], "30 Testing 999");
  EXPECT_EQ(records[1000], "0 LogDestIpc Too many messages, discarding further ones");
  source.info("again");
  EXPECT_EQ(received(), Strings{"30 Testing again"});
}

TEST_F(LogDestIpcTest, prefixGoesBeforeTheSourceAndTheTextIsCut) {
  server->setLevel(30);
  manager.runIdle();
  dest().setPrefix("viewer");
  source.info("%s", (std::string(1023, 'x') + "\xc3\xa9").c_str());
  source.info("%s", std::string(2000, 'y').c_str());
  dest().setPrefix(nullptr);
  source.info("z");
  // The prefix is that of the time of sending.
  EXPECT_EQ(received(), (Strings{"30 Testing " + std::string(1023, 'x'),
                                 "30 Testing " + std::string(1024, 'y'), "30 Testing z"}));
  dest().setPrefix("viewer");
  source.info("p");
  EXPECT_EQ(received(), Strings{"30 viewer: Testing p"});
  dest().setPrefix(nullptr);
}

TEST_F(LogDestIpcTest, storedMessagesAreReplayed) {
  plat::LogSrc::setLogSpec("");
  source.info("early");
  server->setLevel(100);
  manager.runIdle();
  plat::LogSrc::setLogSpec("*:ipc:30");
  EXPECT_EQ(received(),
            (Strings{"30 LogDestMem Start replaying stored messages", "30 Testing early",
                     "30 LogDestMem Finished replaying stored messages"}));
}

TEST_F(LogDestIpcTest, failingChannelIsGivenUpUntilTheNextLevel) {
  struct Refuse : io::MsgIpc::Filter {
    bool isAllowed(io::MsgIpc*, const char*, bool outgoing) override { return !outgoing; }
    void ipcFailed(io::MsgIpc*, const plat::Exception&) override {}
  } refuse;
  io::MsgIpc refusing(&refuse, "refusing", false, true);
  int fds[2];
  os::createSocketPair(AF_UNIX, SOCK_STREAM, 0, fds);
  server.emplace();
  server->ipc.acceptIo(newIo(fds[1]));
  dest().setMsgIpc(&refusing);
  refusing.acceptIo(newIo(fds[0]));
  server->setLevel(100);
  manager.runIdle();
  source.info("lost");
  // The refusal is itself logged, which must not kick for ever.
  plat::LogSrc::setLogSpec("Testing:ipc:100,Ipc:ipc:100");
  manager.runIdle();
  dest().setMsgIpc(&channel);
  channel.close(false);
  connect();
  server->setLevel(100);
  for (const std::string& record : received()) EXPECT_EQ(record.find("lost"), std::string::npos);
  source.info("kept");
  EXPECT_EQ(received(), Strings{"30 Testing kept"});
}

TEST_F(LogDestIpcTest, threadsLogWhileLevelSpecificationAndConnectionChange) {
  // Together less than the queue takes, so that none is dropped.
  constexpr int threadCount = 4, messageCount = 200;
  server->setLevel(INT_MAX);
  manager.runIdle();
  std::atomic<int> running = threadCount;
  std::vector<std::thread> threads;
  for (int t = 0; t < threadCount; t++) {
    threads.emplace_back([t, &running] {
      for (int i = 0; i < messageCount; i++) {
        source.info("%d %d", t, i);
        std::this_thread::yield();
      }
      running--;
    });
  }
  Strings records;
  for (int round = 0; running > 0; round++) {
    plat::LogSrc::setLogSpec(round % 2 ? "Testing:ipc:100" : "*:ipc:30,Testing:ipc:100");
    if (round % 8 == 7) {
      dest().setMsgIpc(nullptr);
      dest().setMsgIpc(&channel);
    }
    server->setLevel(round % 3 ? 30 : 100);
    for (std::string& record : received()) records.push_back(std::move(record));
  }
  for (std::thread& thread : threads) thread.join();
  server->setLevel(30);
  for (std::string& record : received()) records.push_back(std::move(record));
  for (int t = 0; t < threadCount; t++) {
    const std::string start = "30 Testing " + std::to_string(t) + " ";
    int next = 0;
    for (const std::string& record : records) {
      if (!record.starts_with(start)) continue;
      EXPECT_EQ(record, start + std::to_string(next++));
    }
    EXPECT_EQ(next, messageCount);
  }
}

// The child logs and fails; nothing but the failure sends what it logged.
[[noreturn]] void failInChild(int fd) {
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
  dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
  PollManager manager;
  io::MsgIpc channel(nullptr, "channel", false, true);
  channel.acceptIo(newIo(fd));
  dest().setMsgIpc(&channel);
  plat::LogSrc::setLogSpec("Testing:ipc:100,Assertion:ipc:0");
  source.info("before");
  manager.runUntil([] { return dest().getLevel() == 50; });
  source.info("waiting");
  bool works = false;
  PLAT_ASSERT(works);
  _exit(1);
}

TEST(LogDestIpc, fatalAssertionSendsWhatWaits) {
  int fds[2];
  os::createSocketPair(AF_UNIX, SOCK_STREAM, 0, fds);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    close(fds[1]);
    failInChild(fds[0]);
  }
  close(fds[0]);
  Server server(true);
  server.ipc.acceptIo(newIo(fds[1]));
  server.setLevel(50);
  server.ipc.drain();
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT) << status;
  ASSERT_GE(server.records.size(), 4u);
  EXPECT_EQ(server.records[0], "30 Testing before");
  EXPECT_EQ(server.records[1], "30 Testing waiting");
  EXPECT_TRUE(server.records[2].starts_with("0 Assertion Assertion 'works' failed at "));
  EXPECT_TRUE(server.records[3].starts_with("0 Assertion stacktrace:  1 "));
}

}  // namespace
