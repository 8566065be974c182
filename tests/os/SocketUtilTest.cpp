#include "base/os/SocketUtil.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "base/plat/Exception.h"
#include "base/plat/unix/OwnedFd.h"
#include "tests/os/injectedFailures.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/childProcess.h"

using plat::OwnedFd;
using testing::ExitedWithCode;

namespace {

template <class Address>
sockaddr* generic(Address& address) {
  return reinterpret_cast<sockaddr*>(&address);
}

// Listens on a free port, which `address` names afterwards.
int listenOn(sockaddr_in& address) {
  address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  int fd = os::createBoundSocket(generic(address), sizeof address, SOCK_STREAM, false);
  socklen_t length = sizeof address;
  EXPECT_EQ(listen(fd, 8), 0);
  EXPECT_EQ(getsockname(fd, generic(address), &length), 0);
  return fd;
}

// Differs from an earlier result when a descriptor was leaked meanwhile.
int lowestFreeFd() {
  int fd = dup(0);
  close(fd);
  return fd;
}

// In a fresh process: the limit on descriptors after the first socket was made.
rlim_t limitAfterPreparation(rlim_t soft) {
  struct rlimit limit;
  CHILD_CHECK(getrlimit(RLIMIT_NOFILE, &limit) == 0);
  limit.rlim_cur = soft;
  CHILD_CHECK(setrlimit(RLIMIT_NOFILE, &limit) == 0);
  OwnedFd fd(os::createSocket(AF_UNIX, SOCK_STREAM, 0));
  CHILD_CHECK(getrlimit(RLIMIT_NOFILE, &limit) == 0);
  return limit.rlim_cur;
}

void onPipeSignal(int) {}

}  // namespace

TEST(SocketUtil, everyNewDescriptorIsCloseOnExec) {
  sockaddr_in address;
  std::vector<int> fds{os::createSocket(AF_INET, SOCK_STREAM, 0), listenOn(address)};
  OwnedFd client(socket(AF_INET, SOCK_STREAM, 0));
  EXPECT_TRUE(os::connectSocket(client.get(), generic(address), sizeof address));
  fds.push_back(os::acceptSocket(fds.back()));
  int pair[2];
  os::createSocketPair(AF_UNIX, SOCK_STREAM, 0, pair);
  fds.insert(fds.end(), pair, pair + 2);
  os::createPipe(pair);
  fds.insert(fds.end(), pair, pair + 2);
  fds.push_back(os::duplicate(0));
  fds.push_back(dup(0));
  os::duplicateOnto(pair[0], fds.back());
  for (int fd : fds) {
    EXPECT_FALSE(os::getInheritable(fd)) << fd;
    close(fd);
  }
}

TEST(SocketUtil, failuresLeakNoDescriptor) {
  sockaddr_in taken;
  OwnedFd listener(listenOn(taken)), plain(os::createSocket(AF_INET, SOCK_STREAM, 0));
  int freeFd = lowestFreeFd();
  EXPECT_THROW(os::acceptSocket(plain.get()), plat::SystemException);
  EXPECT_THROW(os::createBoundSocket(generic(taken), sizeof taken, SOCK_STREAM, true),
               plat::SystemException);
  EXPECT_EQ(lowestFreeFd(), freeFd);
}

TEST(SocketUtil, interruptedCallsAreRepeatedAndNothingToAcceptIsNoFailure) {
  InjectedFailures injected;
  sockaddr_in address;
  OwnedFd listener(listenOn(address));
  for (const char* call : {"connect", "accept4"}) injected.fail(call, EINTR, 3);
  OwnedFd client(os::createSocket(AF_INET, SOCK_STREAM, 0));
  EXPECT_TRUE(os::connectSocket(client.get(), generic(address), sizeof address));
  OwnedFd accepted(os::acceptSocket(listener.get()));
  EXPECT_GE(accepted.get(), 0);
  os::setBlocking(listener.get(), false);
  EXPECT_EQ(os::acceptSocket(listener.get()), -1);
  injected.fail("accept4", ECONNABORTED, 1);
  EXPECT_EQ(os::acceptSocket(listener.get()), -1);
}

TEST(SocketUtil, optionsReachTheSocket) {
  sockaddr_in address;
  OwnedFd listener(listenOn(address)), client(os::createSocket(AF_INET, SOCK_STREAM, 0));
  const int fd = client.get();
  const auto ipOption = [fd](int option) {
    int value = -1;
    socklen_t length = sizeof value;
    getsockopt(fd, IPPROTO_IP, option, &value, &length);
    return value;
  };
  for (const auto& setSize : {os::setReceiveBufferSize, os::setSendBufferSize}) {
    const int size = setSize(fd, 0), larger = setSize(fd, size + 1);
    EXPECT_GT(larger, size);
    EXPECT_EQ(setSize(fd, 1), larger);
  }
  for (bool on : {true, false}) {
    os::setPathMtuDiscovery(fd, on, AF_INET);
    EXPECT_EQ(ipOption(IP_MTU_DISCOVER), on ? IP_PMTUDISC_DO : IP_PMTUDISC_DONT);
  }
  os::configureDscp(10);
  os::connectSocket(fd, generic(address), sizeof address, os::ConnectMode::noDscp);
  EXPECT_EQ(ipOption(IP_TOS), 0);
  os::setDscp(fd);
  os::configureDscp(0);
  EXPECT_EQ(ipOption(IP_TOS), 40);
}

TEST(SocketUtil, preparationLowersTheDescriptorLimitToWhatSelectCanWatch) {
  const rlim_t limits[][2] = {{4096, 1024}, {1025, 1024}, {1024, 1024}, {256, 256}};
  for (const auto& [before, after] : limits) {
    EXPECT_EXIT(_exit(limitAfterPreparation(before) == after ? 0 : 1), ExitedWithCode(0), "");
  }
}

TEST(SocketUtil, preparationIgnoresThePipeSignalUnlessItIsHandled) {
  for (sighandler_t before : {SIG_DFL, onPipeSignal}) {
    EXPECT_EXIT(
        {
          signal(SIGPIPE, before);
          os::prepareProcess();
          _exit(signal(SIGPIPE, SIG_DFL) == (before == SIG_DFL ? SIG_IGN : before) ? 0 : 1);
        },
        ExitedWithCode(0), "");
  }
}

TEST(SocketUtil, unixSocketIsAliveWhileSomethingListens) {
  test::ScratchFolder folder;
  const std::string path = folder / "socket", plainFile = folder / "file";
  auto alive = [&] { return os::isUnixSocketAlive(path.c_str(), false); };
  test::writeFile(plainFile, "");
  int freeFd = lowestFreeFd();
  EXPECT_FALSE(alive());
  {
    OwnedFd listener(os::createBoundUnixSocket(path.c_str()));
    EXPECT_FALSE(alive()) << "bound, but not listening";
    ASSERT_EQ(listen(listener.get(), 0), 0);
    EXPECT_FALSE(os::isUnixSocketAlive(path.c_str(), true));
    // The queue of a listener that accepts nothing fills up.
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(alive());
  }
  EXPECT_FALSE(alive()) << "the file outlived its listener";
  EXPECT_FALSE(os::isUnixSocketAlive(plainFile.c_str(), false));
  EXPECT_EQ(lowestFreeFd(), freeFd);
  for (const std::string& bad : {plainFile + "/socket", std::string(108, 'a')}) {
    EXPECT_THROW(os::isUnixSocketAlive(bad.c_str(), false), plat::SystemException);
  }
}
