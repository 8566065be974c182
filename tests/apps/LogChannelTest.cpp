#include "apps/qolt-receiver/LogChannel.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <climits>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "base/io/MsgIpc.h"
#include "base/os/SocketUtil.h"
#include "base/os/unix/UnixIo.h"
#include "base/plat/LogSrc.h"
#include "base/plat/unix/OwnedFd.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestLoop.h"

namespace {

constinit plat::LogSrc source("Testing");
const plat::LogSrc::Listed listed(source);

// The server that collects logs: one connection at a time, over a local socket.
struct Collector : private io::MsgIpc::Reader {
  explicit Collector(const std::string& path) : fd(os::createBoundUnixSocket(path.c_str())) {
    os::setBlocking(fd.get(), false);
    EXPECT_EQ(listen(fd.get(), 1), 0);
    ipc.registerReader("logMsg", this);
  }

  void acceptWhoCame() {
    int accepted = os::acceptSocket(fd.get());
    if (accepted < 0) return;
    ipc.acceptIo(new os::UnixIo(nullptr, accepted, false));
    // A message that the program does not know is passed over.
    ipc.writeMsg("greeting").endMsg(false);
    rdr::OutStreamV4& out = ipc.writeMsg("setLogLevel");
    out.writeS32(30);
    out.endMsg(true);
  }
  bool readMsg(const char*, rdr::InStream& in, io::MsgIpc*) override {
    in.readS32();
    in.readStdString(INT_MAX);
    last = in.readStdString(INT_MAX);
    return true;
  }

  plat::OwnedFd fd;
  io::MsgIpc ipc{nullptr, "collector", false, false};
  std::string last;  // text
};

}  // namespace

TEST(LogChannel, recordsReachTheServerThroughLossesOfTheConnectionAndTheEnd) {
  plat::LogSrc::setLogSpec("Testing:ipc:30");
  test::ScratchFolder folder;
  const std::string path = folder / "socket";
  TestLoop loop;
  std::optional<Collector> collector;
  const auto expectNext = [&](const std::string& expected) {
    EXPECT_TRUE(loop.runUntil([&] {
      collector->acceptWhoCame();
      return std::exchange(collector->last, "") == expected;
    })) << expected;
  };
  // Nobody listens yet.
  auto channel = std::make_unique<receiver::LogChannel>(path.c_str());
  source.info("before");
  loop.waitOnce(0);
  collector.emplace(path);
  expectNext("before");
  // The server goes, and the connection with it.
  collector.reset();
  loop.runIdle();
  source.info("without server");
  unlink(path.c_str());
  collector.emplace(path);
  expectNext("without server");
  // What waits is sent at the end.
  source.info("last words");
  channel.reset();
  expectNext("last words");
  plat::LogSrc::setLogSpec(nullptr);
}
