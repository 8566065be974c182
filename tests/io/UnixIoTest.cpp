#include "base/os/unix/UnixIo.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>

#include "base/os/SocketUtil.h"
#include "base/plat/Exception.h"
#include "base/plat/unix/OwnedFd.h"
#include "tests/support/ScratchFolder.h"

namespace {

int openDescriptors() {
  int count = 0;
  for ([[maybe_unused]] auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) count++;
  return count;
}

struct UnixIoTest : testing::Test {
  test::ScratchFolder folder;
  const std::string path = folder / "print.a:b";

  std::unique_ptr<plat::OwnedFd> listenAt(int backlog) {
    auto fd = std::make_unique<plat::OwnedFd>(os::createBoundUnixSocket(path.c_str()));
    EXPECT_EQ(listen(fd->get(), backlog), 0);
    return fd;
  }
  // The failure of connecting, which leaves no descriptor behind.
  void expectRefused(int err, int timeoutMs = 1000) {
    int before = openDescriptors();
    try {
      os::UnixIo io(path.c_str(), -1, false, timeoutMs);
      ADD_FAILURE() << "connected to " << path;
    } catch (const plat::SystemException& e) {
      EXPECT_TRUE(std::string(e.message).starts_with("connect: ")) << e.message;
      EXPECT_EQ(e.err, err);
    }
    EXPECT_EQ(openDescriptors(), before);
  }
};

TEST_F(UnixIoTest, messageReachesTheOtherSideAndNamesTellThePath) {
  auto listener = listenAt(5);
  os::UnixIo client(path.c_str(), -1, false);
  os::UnixIo server(nullptr, os::acceptSocket(listener->get()), false);
  client.out()->writeString("/tmp/job.ini");
  client.out()->flush();
  EXPECT_STREQ(server.in()->readString(100).get(), "/tmp/job.ini");
  EXPECT_EQ(client.name(), "<unix-client-" + path + "-uid-" + std::to_string(geteuid()) + ">");
  EXPECT_EQ(client.peerEndpoint(), "[unix:" + folder.path() + "/print.a%3Ab]");
  EXPECT_STREQ(server.peerEndpoint(), "");
}

TEST_F(UnixIoTest, peerOfAnotherUserIsRefused) {
  int fds[2];
  os::createSocketPair(AF_UNIX, SOCK_STREAM, 0, fds);
  plat::OwnedFd peer(fds[1]);
  os::UnixIo io(nullptr, fds[0], false);
  EXPECT_EQ(io.getPeerEuid(), geteuid());
  io.namedPipeCredCheck(geteuid());
  EXPECT_THROW(io.namedPipeCredCheck(geteuid() + 1), plat::Exception);
}

TEST_F(UnixIoTest, failedConnectionIsToldAndLeaksNothing) {
  expectRefused(ENOENT);
  listenAt(5);
  expectRefused(ECONNREFUSED);
  unlink(path.c_str());
  // A full queue of the listener used to be waited for for ever.
  auto listener = listenAt(0);
  os::UnixIo first(path.c_str(), -1, false);
  expectRefused(EAGAIN, 50);
}

}  // namespace
