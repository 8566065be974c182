#include "base/os/unix/UnixIo.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "base/os/SocketUtil.h"
#include "base/plat/Exception.h"
#include "base/plat/unix/OwnedFd.h"

namespace {

// A listening or datagram socket at a path.
plat::OwnedFd bindTo(const std::string& path, int type, int backlog) {
  sockaddr_un address;
  os::fillUnixAddress(&address, path.c_str());
  socklen_t length = sizeof address;
  plat::OwnedFd fd(
      os::createBoundSocket(reinterpret_cast<sockaddr*>(&address), length, type, false));
  if (type == SOCK_STREAM && listen(fd.get(), backlog) < 0) abort();
  return plat::OwnedFd(fd.release());
}

int openDescriptors() {
  int count = 0;
  for ([[maybe_unused]] auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) count++;
  return count;
}

struct UnixIoTest : testing::Test {
  std::string folder;
  void SetUp() override {
    char name[] = "/tmp/UnixIoTest.XXXXXX";
    ASSERT_NE(mkdtemp(name), nullptr);
    folder = name;
  }
  void TearDown() override { std::filesystem::remove_all(folder); }
  std::string uid() { return std::to_string(geteuid()); }

  // The failure of connecting, which leaves no descriptor behind.
  void expectRefused(const std::string& path, const char* call, int err, int timeoutMs = 1000) {
    int before = openDescriptors();
    try {
      os::UnixIo io(path.c_str(), -1, false, timeoutMs);
      ADD_FAILURE() << "connected to " << path;
    } catch (const plat::SystemException& e) {
      EXPECT_EQ(std::string(e.message).substr(0, strlen(call) + 2), std::string(call) + ": ");
      EXPECT_EQ(e.err, err) << e.message;
    }
    EXPECT_EQ(openDescriptors(), before);
  }
};

TEST_F(UnixIoTest, messageReachesTheOtherSide) {
  std::string path = folder + "/print.a:b";
  plat::OwnedFd listener = bindTo(path, SOCK_STREAM, 5);
  auto client = std::make_unique<os::UnixIo>(path.c_str(), -1, false);
  os::UnixIo server(nullptr, os::acceptSocket(listener.get()), false);

  client->out()->writeString("/tmp/job.ini");
  client->out()->flush();
  client.reset();
  EXPECT_STREQ(server.in()->readString(100).get(), "/tmp/job.ini");
  EXPECT_THROW(server.in()->readU8(), plat::Exception);
}

TEST_F(UnixIoTest, namesTellPathAndPeer) {
  std::string path = folder + "/print.a:b";
  plat::OwnedFd listener = bindTo(path, SOCK_STREAM, 5);
  os::UnixIo client(path.c_str(), -1, false);
  os::UnixIo server(nullptr, os::acceptSocket(listener.get()), false);

  EXPECT_EQ(client.name(), "<unix-client-" + path + "-uid-" + uid() + ">");
  EXPECT_EQ(server.name(), "<unix-server-anon-uid-" + uid() + ">");
  EXPECT_EQ(client.peerEndpoint(), "[unix:" + folder + "/print.a%3Ab]");
  EXPECT_STREQ(client.peerName(), client.peerEndpoint());
  EXPECT_STREQ(server.peerEndpoint(), "");
  EXPECT_TRUE(client.getFlags().contains("secureTransport"));
}

TEST_F(UnixIoTest, peerOfAnotherUserIsRefused) {
  int fds[2];
  os::createSocketPair(AF_UNIX, SOCK_STREAM, 0, fds);
  plat::OwnedFd peer(fds[1]);
  os::UnixIo io(nullptr, fds[0], false);
  EXPECT_EQ(io.getPeerEuid(), geteuid());
  io.namedPipeCredCheck(geteuid());
  try {
    io.namedPipeCredCheck(geteuid() + 1);
    FAIL();
  } catch (const plat::Exception& e) {
    EXPECT_STREQ(e.message, "namedPipeCredCheck: uid mismatch");
  }

  os::createPipe(fds);
  plat::OwnedFd writeEnd(fds[1]);
  os::UnixIo pipe(nullptr, fds[0], false);
  EXPECT_STREQ(pipe.name(), "<unix-server-anon>");
  EXPECT_STREQ(pipe.peerEndpoint(), "");
  EXPECT_THROW(pipe.getPeerEuid(), plat::SystemException);
}

TEST_F(UnixIoTest, longestPathConnectsAndOneMoreByteDoesNot) {
  std::string path = folder + "/" + std::string(107 - folder.size() - 1, 'x');
  plat::OwnedFd listener = bindTo(path, SOCK_STREAM, 5);
  os::UnixIo io(path.c_str(), -1, false);
  EXPECT_EQ(io.peerEndpoint(), "[unix:" + path + "]");
  expectRefused(path + "x", "UnixIo", ENAMETOOLONG);
  // Not an abstract address.
  expectRefused("", "UnixIo", ENOENT);
}

TEST_F(UnixIoTest, nothingListeningIsToldAndLeaksNothing) {
  std::string path = folder + "/s";
  expectRefused(path, "connect", ENOENT);
  { plat::OwnedFd listener = bindTo(path, SOCK_STREAM, 5); }
  expectRefused(path, "connect", ECONNREFUSED);
}

// Used to wait for ever.
TEST_F(UnixIoTest, fullQueueOfTheListenerGivesUp) {
  std::string path = folder + "/s";
  plat::OwnedFd listener = bindTo(path, SOCK_STREAM, 0);
  os::UnixIo first(path.c_str(), -1, false);
  expectRefused(path, "connect", EAGAIN, 50);
}

TEST_F(UnixIoTest, datagramsKeepTheirBounds) {
  std::string path = folder + "/d";
  plat::OwnedFd receiver = bindTo(path, SOCK_DGRAM, 0);
  os::UnixIo io(path.c_str(), -1, true);
  for (const char* text : {"one", "three"}) {
    io.out()->writeBytes(text, static_cast<int>(strlen(text)));
    io.out()->flush();
  }
  char buffer[16];
  EXPECT_EQ(recv(receiver.get(), buffer, sizeof buffer, 0), 3);
  EXPECT_EQ(recv(receiver.get(), buffer, sizeof buffer, 0), 5);
}

}  // namespace
