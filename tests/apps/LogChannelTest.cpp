#include "apps/qolt-receiver/LogChannel.h"

#include <gtest/gtest.h>
#include <sys/un.h>

#include <climits>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/io/FdHandler.h"
#include "base/os/SocketUtil.h"
#include "base/os/unix/UnixIo.h"
#include "base/plat/LogSrc.h"
#include "base/plat/logipc/LogDestIpc.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestLoop.h"

namespace {

plat::LogSrc source("Testing");

// The server that collects logs: one connection at a time, over a local socket.
class Collector : private io::FdHandler, private io::MsgIpc::Reader {
 public:
  Collector(const std::string& path, int wantedLevel)
      : FdHandler(-1), level(wantedLevel), ipc(nullptr, "collector", false, false) {
    sockaddr_un address;
    os::fillUnixAddress(&address, path.c_str());
    fd = os::createBoundSocket(reinterpret_cast<sockaddr*>(&address), sizeof address, SOCK_STREAM,
                               false);
    os::setBlocking(fd, false);
    EXPECT_EQ(listen(fd, 1), 0);
    io::FdManager::current()->addHandler(this);
    io::FdManager::current()->setInterest(this, true, false, false, false, false);
    ipc.registerReader("logMsg", this);
  }
  ~Collector() override {
    io::FdManager::current()->removeHandler(this);
    close(fd);
  }
  void drop() { ipc.close(false); }
  // The "<source>: <text>" of the source "Testing".
  std::vector<std::string> records;
  int connections = 0;

 private:
  void fdReadable() override {
    int accepted = os::acceptSocket(fd);
    if (accepted < 0) return;
    connections++;
    ipc.acceptIo(new os::UnixIo(nullptr, accepted, false));
    // A message that the program does not know is passed over.
    ipc.writeMsg("greeting").endMsg(false);
    rdr::OutStreamV4& out = ipc.writeMsg("setLogLevel");
    out.writeS32(level);
    out.endMsg(true);
  }
  bool readMsg(const char*, rdr::InStream& in, io::MsgIpc*) override {
    in.readS32();
    std::string record = in.readStdString(INT_MAX);
    record += ": " + in.readStdString(INT_MAX);
    if (record.starts_with("Testing")) records.push_back(record);
    return true;
  }

  int level;
  io::MsgIpc ipc;
};

struct LogChannelTest : testing::Test {
  LogChannelTest() { plat::LogSrc::setLogSpec("*:ipc:100"); }
  ~LogChannelTest() override { plat::LogSrc::setLogSpec(nullptr); }

  bool received(const std::vector<std::string>& expected) {
    return loop.runUntil([&] { return collector->records == expected; });
  }

  test::ScratchFolder folder;
  const std::string path = folder / "socket";
  TestLoop loop;
  std::optional<Collector> collector;
};

}  // namespace

TEST_F(LogChannelTest, recordsReachTheServerThroughLossesOfTheConnection) {
  // Nobody listens yet.
  receiver::LogChannel channel(path.c_str());
  source.info("before");
  loop.waitOnce(0);
  collector.emplace(path, 30);
  EXPECT_TRUE(received({"Testing: before"}));
  std::thread([] { source.info("from a thread"); }).join();
  source.debug("above the level");
  EXPECT_TRUE(received({"Testing: before", "Testing: from a thread"}));

  // The connection is lost, and later the server too.
  collector->records.clear();
  collector->drop();
  loop.runIdle();
  source.info("while away");
  EXPECT_TRUE(received({"Testing: while away"}));
  EXPECT_EQ(collector->connections, 2);
  collector.reset();
  loop.runIdle();
  source.info("without server");
  unlink(path.c_str());
  collector.emplace(path, 100);
  EXPECT_TRUE(received({"Testing: without server"}));
  source.debug("of the new level");
  EXPECT_TRUE(received({"Testing: without server", "Testing: of the new level"}));
}

TEST_F(LogChannelTest, whatWaitsIsSentAtTheEnd) {
  collector.emplace(path, 30);
  auto channel = std::make_unique<receiver::LogChannel>(path.c_str());
  ASSERT_TRUE(loop.runUntil([&] { return collector->connections == 1; }));
  loop.runIdle();
  source.info("last words");
  channel.reset();
  EXPECT_TRUE(received({"Testing: last words"}));
}
