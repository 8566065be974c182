#include "base/plat/logipc/LogDestIpc.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <climits>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "base/io/FdIo.h"
#include "base/os/SocketUtil.h"
#include "base/plat/Assertion.h"
#include "base/plat/LogSrc.h"
#include "tests/support/TestLoop.h"

namespace {

using Strings = std::vector<std::string>;

constinit plat::LogSrc source("Testing");
const plat::LogSrc::Listed listed(source);

// The server that collects the logs. Records read "<level> <source> <text>".
struct Server : io::MsgIpc::Reader {
  Server() : ipc(nullptr, "server", false, false) { ipc.registerReader("logMsg", this); }
  bool readMsg(const char*, rdr::InStream& in, io::MsgIpc*) override {
    records.push_back(std::to_string(in.readS32()) + " ");
    records.back() += in.readStdString(INT_MAX) + " ";
    records.back() += in.readStdString(1024);
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
  plat::LogDestIpc& dest = plat::LogDestIpc::instance();
  TestLoop manager;
  io::MsgIpc channel{nullptr, "channel", false, true};
  std::optional<Server> server;

  LogDestIpcTest() {
    plat::LogSrc::setLogSpec("Testing:ipc:100");
    dest.setMsgIpc(&channel);
    connect();
  }
  // Leaves nothing queued and no level for the next test.
  ~LogDestIpcTest() override {
    plat::LogSrc::setLogSpec(nullptr);
    if (!channel.isConnected()) connect();
    server->setLevel(INT_MAX);
    manager.runIdle();
    dest.setMsgIpc(nullptr);
  }
  void connect(int channelBufSize = -1) {
    int fds[2];
    os::createSocketPair(AF_UNIX, SOCK_STREAM, 0, fds);
    server.emplace();
    server->ipc.acceptIo(new io::FdIo(fds[1], true, false, -1, -1, true));
    channel.acceptIo(new io::FdIo(fds[0], true, false, -1, channelBufSize, true));
  }
  Strings received() {
    manager.runIdle();
    return std::exchange(server->records, {});
  }
};

TEST_F(LogDestIpcTest, messagesWaitForTheLevelAndThenFollowIt) {
  source.info("one");
  source.debug("two");
  EXPECT_EQ(received(), Strings{});
  server->setLevel(30);
  // What has been taken in before is not filtered again.
  EXPECT_EQ(received(), (Strings{"30 Testing one", "100 Testing two"}));
  source.debug("three");
  dest.setPrefix("viewer");
  source.info("%s", std::string(2000, 'y').c_str());
  EXPECT_EQ(received(), Strings{"30 viewer: Testing " + std::string(1024, 'y')});
  dest.setPrefix(nullptr);
}

TEST_F(LogDestIpcTest, messagesWaitWhileTheServerIsAway) {
  for (int round = 0; round < 2; round++) {
    server->ipc.close(false);
    ASSERT_TRUE(manager.runUntil([&] { return !channel.isConnected(); }));
    source.info("away");
    connect();
    source.info("reconnected");
    EXPECT_EQ(received(), Strings{});
    server->setLevel(30);
    EXPECT_EQ(received(), (Strings{"30 Testing away", "30 Testing reconnected"}));
  }
}

// It used to stay, perhaps in the middle of a message.
TEST_F(LogDestIpcTest, channelThatCannotSendIsClosed) {
  channel.close(false);
  connect(4096);
  server->setLevel(30);
  manager.runIdle();
  channel.out()->setThrowErrors(true);
  channel.getIo()->setTimeout(1);
  for (int i = 0; i < 1000; i++) source.info("%s", std::string(1024, 'x').c_str());
  EXPECT_THROW(dest.flush(), plat::Exception);
  EXPECT_FALSE(channel.isConnected());
}

TEST_F(LogDestIpcTest, overflowIsToldOnce) {
  for (int i = 0; i < 1010; i++) source.info("%d", i);
  server->setLevel(INT_MAX);
  const Strings records = received();
  ASSERT_EQ(records.size(), 1001u);
  EXPECT_EQ(records[999], "30 Testing 999");
  EXPECT_EQ(records[1000], "0 LogDestIpc Too many messages, discarding further ones");
}

TEST_F(LogDestIpcTest, threadsLogWhileLevelAndSpecificationChange) {
  server->setLevel(INT_MAX);
  manager.runIdle();
  std::atomic<int> running = 2;
  auto work = [&](const char* name) {
    // Together less than the queue takes, so that none is dropped.
    for (int i = 0; i < 400; i++) source.info("%s%d", name, i);
    running--;
  };
  std::thread a(work, "a"), b(work, "b");
  for (int round = 0; running > 0; round++) {
    plat::LogSrc::setLogSpec(round % 2 ? "Testing:ipc:100" : "*:ipc:30,Testing:ipc:100");
    server->setLevel(round % 3 ? 30 : 100);
    manager.runIdle();
  }
  a.join();
  b.join();
  std::map<char, int> next;
  for (const std::string& record : received()) {
    if (!record.starts_with("30 Testing ")) continue;
    EXPECT_EQ(record.substr(12), std::to_string(next[record[11]]++));
  }
  EXPECT_EQ(next, (std::map<char, int>{{'a', 400}, {'b', 400}}));
}

// In the child nothing but the failure sends what it logged.
TEST_F(LogDestIpcTest, fatalAssertionSendsWhatWaits) {
  plat::LogSrc::setLogSpec("Testing:ipc:100,Assertion:ipc:0");
  server->setLevel(50);
  bool works = false;
  EXPECT_DEATH(
      {
        manager.runIdle();
        source.info("waiting");
        PLAT_ASSERT(works);
      },
      "");
  const Strings records = received();
  ASSERT_GE(records.size(), 2u);
  EXPECT_EQ(records[0], "30 Testing waiting");
  EXPECT_TRUE(records[1].starts_with("0 Assertion Assertion 'works' failed at ")) << records[1];
}

}  // namespace
