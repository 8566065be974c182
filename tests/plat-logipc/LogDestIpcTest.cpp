#include "base/plat/logipc/LogDestIpc.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <climits>
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
    std::string record = std::to_string(in.readS32());
    for (int i = 0; i < 2; i++) record += " " + in.readStdString(1024);
    records.push_back(record);
    return true;
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
    setLevel(INT_MAX);
    dest.setMsgIpc(nullptr);
  }
  void connect() {
    int fds[2];
    os::createSocketPair(AF_UNIX, SOCK_STREAM, 0, fds);
    server.emplace();
    server->ipc.acceptIo(new io::FdIo(fds[1], true, false, -1, -1, true));
    channel.acceptIo(new io::FdIo(fds[0], true, false, -1, 4096, true));
  }
  void setLevel(int level) {
    rdr::OutStreamV4& out = server->ipc.writeMsg("setLogLevel");
    out.writeS32(level);
    out.endMsg(true);
    manager.runIdle();
  }
  Strings received() {
    manager.runIdle();
    return std::exchange(server->records, {});
  }
};

TEST_F(LogDestIpcTest, messagesWaitForTheLevelOfEachConnectionAndThenFollowIt) {
  for (int round = 0; round < 2; round++) {
    source.info("one");
    if (!channel.isConnected()) connect();
    source.debug("two");
    EXPECT_EQ(received(), Strings{});
    setLevel(30);
    // What has been taken in before is not filtered again.
    EXPECT_EQ(received(), (Strings{"30 Testing one", "100 Testing two"}));
    EXPECT_EQ(source.getLevel(), 30);
    source.debug("three");
    dest.setPrefix("viewer");
    source.info("%s", std::string(2000, 'y').c_str());
    EXPECT_EQ(received(), Strings{"30 viewer: Testing " + std::string(1024, 'y')});
    dest.setPrefix(nullptr);
    setLevel(INT_MAX);
    server->ipc.close(false);
    ASSERT_TRUE(manager.runUntil([&] { return !channel.isConnected(); }));
  }
}

// It used to stay, perhaps in the middle of a message.
TEST_F(LogDestIpcTest, channelThatCannotSendIsClosed) {
  setLevel(30);
  channel.out()->setThrowErrors(true);
  channel.getIo()->setTimeout(1);
  for (int i = 0; i < 1000; i++) source.info("%s", std::string(1024, 'x').c_str());
  EXPECT_THROW(dest.flush(), plat::Exception);
  EXPECT_FALSE(channel.isConnected());
}

TEST_F(LogDestIpcTest, overflowIsToldOnce) {
  Strings expected;
  for (int i = 0; i < 1000; i++) expected.push_back("30 Testing " + std::to_string(i));
  expected.push_back("0 LogDestIpc Too many messages, discarding further ones");
  for (int i = 0; i < 1010; i++) source.info("%d", i);
  setLevel(INT_MAX);
  EXPECT_EQ(received(), expected);
}

TEST_F(LogDestIpcTest, threadsLogWhileLevelAndSpecificationChange) {
  setLevel(INT_MAX);
  std::atomic<int> running = 2;
  // Together less than the queue takes, so that none is dropped.
  auto work = [&](const char* name) {
    for (int i = 0; i < 400; i++) source.info("%s%d", name, i);
    running--;
  };
  std::thread a(work, "a"), b(work, "b");
  for (int round = 0; running > 0; round++) {
    plat::LogSrc::setLogSpec(round % 2 ? "Testing:ipc:100" : "*:ipc:30,Testing:ipc:100");
    setLevel(round % 3 ? 30 : 100);
  }
  a.join();
  b.join();
  int next[] = {0, 0};
  for (const std::string& record : received()) {
    if (!record.starts_with("30 Testing ")) continue;
    EXPECT_EQ(record.substr(12), std::to_string(next[record[11] - 'a']++));
  }
  EXPECT_TRUE(next[0] == 400 && next[1] == 400);
}

// In the child, which comes first, nothing but the failure sends what it logged.
TEST_F(LogDestIpcTest, fatalAssertionSendsWhatWaits) {
  plat::LogSrc::setLogSpec("Testing:ipc:100,Assertion:ipc:0");
  setLevel(50);
  bool works = false;
  source.info("waiting");
  EXPECT_DEATH(PLAT_ASSERT(works), "");
  const Strings records = received();
  EXPECT_EQ(records.at(0), "30 Testing waiting");
  EXPECT_TRUE(records.at(1).starts_with("0 Assertion Assertion 'works' failed at "));
}

}  // namespace
