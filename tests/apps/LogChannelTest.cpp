#include "apps/qolt-receiver/LogChannel.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <climits>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/io/MsgIpc.h"
#include "base/os/SocketUtil.h"
#include "base/os/unix/UnixIo.h"
#include "base/plat/LogSrc.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestLoop.h"

namespace {

constinit plat::LogSrc source("Testing");
const plat::LogSrc::Listed listed(source);

// The server that collects logs: one connection at a time, over a local socket.
struct Collector : private io::MsgIpc::Reader {
  Collector(const std::string& path, int wantedLevel) : level(wantedLevel) {
    fd = os::createBoundUnixSocket(path.c_str());
    os::setBlocking(fd, false);
    EXPECT_EQ(listen(fd, 1), 0);
    ipc.registerReader("logMsg", this);
  }
  ~Collector() override { close(fd); }

  void acceptWhoCame() {
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

  int fd, level, connections = 0;
  io::MsgIpc ipc{nullptr, "collector", false, false};
  // The "<source>: <text>" of the source "Testing".
  std::vector<std::string> records;
};

}  // namespace

TEST(LogChannel, recordsReachTheServerThroughLossesOfTheConnectionAndTheEnd) {
  plat::LogSrc::setLogSpec("*:ipc:100");
  test::ScratchFolder folder;
  const std::string path = folder / "socket";
  TestLoop loop;
  std::optional<Collector> collector;
  const auto received = [&](const std::vector<std::string>& expected) {
    return loop.runUntil([&] {
      collector->acceptWhoCame();
      return collector->records == expected;
    });
  };
  // Nobody listens yet.
  auto channel = std::make_unique<receiver::LogChannel>(path.c_str());
  source.info("before");
  loop.waitOnce(0);
  collector.emplace(path, 30);
  EXPECT_TRUE(received({"Testing: before"}));
  std::thread([] { source.info("from a thread"); }).join();
  source.debug("above the level");
  EXPECT_TRUE(received({"Testing: before", "Testing: from a thread"}));

  // The connection is lost, and later the server too.
  collector->records.clear();
  collector->ipc.close(false);
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

  // What waits is sent at the end.
  source.info("last words");
  channel.reset();
  EXPECT_TRUE(
      received({"Testing: without server", "Testing: of the new level", "Testing: last words"}));
  plat::LogSrc::setLogSpec(nullptr);
}
