#include "base/os/SocketUtil.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "base/plat/Exception.h"
#include "base/plat/LogDest.h"
#include "base/plat/LogSrc.h"
#include "base/plat/unix/OwnedFd.h"
#include "tests/os/injectedFailures.h"
#include "tests/support/childProcess.h"

using plat::OwnedFd;
using testing::ExitedWithCode;

namespace {

class Folder {
 public:
  Folder() { EXPECT_TRUE(mkdtemp(path)); }
  ~Folder() {
    for (const std::string& file : files) unlink(file.c_str());
    rmdir(path);
  }
  std::string file(const std::string& name) {
    files.push_back(path + ("/" + name));
    return files.back();
  }

 private:
  char path[32] = "/tmp/qolt-socket-XXXXXX";
  std::vector<std::string> files;
};

class CapturedLog : public plat::LogDest {
 public:
  CapturedLog() : LogDest("captured") { plat::LogSrc::setLogSpec("SocketUtil:captured:100"); }
  ~CapturedLog() override { plat::LogSrc::setLogSpec(nullptr); }
  void write(int messageLevel, const char* source, const char* text) override {
    lines.push_back(std::to_string(messageLevel) + " " + source + " " + text);
  }
  std::vector<std::string> lines;
};

sockaddr_in loopback() {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

template <class Address>
sockaddr* generic(Address& address) {
  return reinterpret_cast<sockaddr*>(&address);
}

// Listens on a free port, which `address` names afterwards.
int listenOn(sockaddr_in& address) {
  address = loopback();
  int fd = os::createBoundSocket(generic(address), sizeof address, SOCK_STREAM, false);
  socklen_t length = sizeof address;
  EXPECT_EQ(listen(fd, 8), 0);
  EXPECT_EQ(getsockname(fd, generic(address), &length), 0);
  return fd;
}

int bindUnix(const std::string& path, int type) {
  sockaddr_un address;
  os::fillUnixAddress(&address, path.c_str());
  return os::createBoundSocket(generic(address), sizeof address, type, false);
}

int intOption(int fd, int level, int option) {
  int value = -1;
  socklen_t length = sizeof value;
  EXPECT_EQ(getsockopt(fd, level, option, &value, &length), 0);
  return value;
}

bool isOpen(int fd) {
  return fcntl(fd, F_GETFD) >= 0;
}

bool hasIpv6() {
  OwnedFd probe(socket(AF_INET6, SOCK_DGRAM, 0));
  return probe.get() >= 0;
}

// Differs from an earlier result when a descriptor was leaked meanwhile.
int lowestFreeFd() {
  int fd = dup(0);
  close(fd);
  return fd;
}

std::vector<int> oneOfEveryKind() {
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
  return fds;
}

bool noneInheritable(const std::vector<int>& fds) {
  for (int fd : fds) {
    if (fd < 0 || os::getInheritable(fd)) return false;
  }
  return true;
}

struct ExpectedFailure {
  std::string text;
  int err;
  std::function<void()> call;
};

void expectFailure(const ExpectedFailure& expected) {
  SCOPED_TRACE(expected.text);
  int freeFd = lowestFreeFd();
  try {
    expected.call();
    ADD_FAILURE() << "nothing thrown";
  } catch (const plat::SystemException& failure) {
    std::string suffix = " (" + std::to_string(expected.err) + ")";
    std::string message = failure.message;
    EXPECT_EQ(message.rfind(expected.text + ": ", 0), 0u) << message;
    EXPECT_TRUE(message.ends_with(suffix)) << message;
    EXPECT_EQ(failure.err, expected.err);
  }
  EXPECT_EQ(lowestFreeFd(), freeFd);
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

sighandler_t pipeSignalAction() {
  struct sigaction action;
  CHILD_CHECK(sigaction(SIGPIPE, nullptr, &action) == 0);
  return action.sa_handler;
}

void onPipeSignal(int) {}

}  // namespace

TEST(SocketUtil, everyNewDescriptorIsCloseOnExec) {
  for (int fd : oneOfEveryKind()) {
    SCOPED_TRACE(fd);
    EXPECT_FALSE(os::getInheritable(fd));
    close(fd);
  }
}

TEST(SocketUtil, platformsWithoutCloseOnExecFlagsGetItAfterwards) {
  for (int err : {EINVAL, ENOSYS}) {
    EXPECT_EXIT(
        {
          InjectedFailures injected;
          injected.fail("socket", EPROTONOSUPPORT);
          for (const char* call : {"accept4", "pipe2", "dup3"}) injected.fail(call, err);
          injected.fail("fcntl(F_DUPFD_CLOEXEC)", EINVAL);
          CHILD_CHECK(noneInheritable(oneOfEveryKind()));
          CHILD_CHECK(injected.attempts("pipe2") == 1);
          _exit(0);
        },
        ExitedWithCode(0), "");
  }
}

TEST(SocketUtil, refusedSocketFlagIsGivenUpForTheRestOfTheProcess) {
  for (int err : {EINVAL, EPROTONOSUPPORT}) {
    for (const char* refused : {"socket", "socketpair"}) {
      EXPECT_EXIT(
          {
            InjectedFailures injected;
            injected.fail(refused, err, 1);
            for (int i = 0; i < 3; ++i) {
              int pair[2];
              os::createSocketPair(AF_UNIX, SOCK_STREAM, 0, pair);
              CHILD_CHECK(
                  noneInheritable({os::createSocket(AF_UNIX, SOCK_STREAM, 0), pair[0], pair[1]}));
            }
            CHILD_CHECK(injected.attempts(refused) == 1);
            _exit(0);
          },
          ExitedWithCode(0), "");
    }
  }
}

TEST(SocketUtil, otherSocketFailuresKeepTheFlag) {
  InjectedFailures injected;
  injected.fail("socket", EMFILE, 1);
  EXPECT_EQ(os::createSocket(AF_UNIX, SOCK_STREAM, 0), -1);
  EXPECT_EQ(errno, EMFILE);
  OwnedFd fd(os::createSocket(AF_UNIX, SOCK_STREAM, 0));
  EXPECT_EQ(injected.attempts("socket"), 2);
}

TEST(SocketUtil, failuresNameTheCallAndLeakNoDescriptor) {
  InjectedFailures injected;
  OwnedFd plain(os::createSocket(AF_INET, SOCK_STREAM, 0));
  sockaddr_in taken;
  OwnedFd listener(listenOn(taken));
  int pair[2];
  auto pipe = [&] { os::createPipe(pair); };
  auto socketPair = [&] { os::createSocketPair(AF_INET, SOCK_STREAM, 0, pair); };
  auto bind = [&] { os::createBoundSocket(generic(taken), sizeof taken, SOCK_STREAM, true); };
  auto bind6 = [] {
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    os::createBoundSocket(generic(address), sizeof address, SOCK_STREAM, false);
  };

  struct Row {
    ExpectedFailure expected;
    std::map<const char*, int> injectedCalls = {};
    int refusedOption = 0;
  };
  const Row rows[] = {
      {{"setInheritable", EBADF, [] { os::setInheritable(-1, true); }}},
      {{"getInheritable", EBADF, [] { os::getInheritable(-1); }}},
      {{"setBlocking", EBADF, [] { os::setBlocking(-1, true); }}},
      {{"fcntl(F_DUPFD_CLOEXEC)", EBADF, [] { os::duplicate(-1); }}},
      {{"dup", EBADF, [] { os::duplicate(-1); }}, {{"fcntl(F_DUPFD_CLOEXEC)", EINVAL}}},
      {{"setInheritable", EPERM, [] { os::duplicate(0); }},
       {{"fcntl(F_DUPFD_CLOEXEC)", EINVAL}, {"fcntl(F_SETFD)", EPERM}}},
      {{"dup2", EBADF, [] { os::duplicateOnto(-1, 99); }}},
      {{"dup2", EBADF, [] { os::duplicateOnto(-1, 99); }}, {{"dup3", ENOSYS}}},
      {{"connect", EBADF, [&] { os::connectSocket(-1, generic(taken), sizeof taken); }}},
      {{"accept", EINVAL, [&] { os::acceptSocket(plain.get()); }}},
      {{"accept", EMFILE, [&] { os::acceptSocket(listener.get()); }}, {{"accept4", EMFILE}}},
      {{"socketpair", EOPNOTSUPP, socketPair}},
      {{"pipe2", EMFILE, pipe}, {{"pipe2", EMFILE}}},
      {{"pipe", EMFILE, pipe}, {{"pipe2", ENOSYS}, {"pipe", EMFILE}}},
      {{"setInheritable", EPERM, pipe}, {{"pipe2", ENOSYS}, {"fcntl(F_SETFD)", EPERM}}},
      {{"getsockopt(SO_RCVBUF)", EBADF, [] { os::setReceiveBufferSize(-1, 1); }}},
      {{"getsockopt(SO_SNDBUF)", EBADF, [] { os::setSendBufferSize(-1, 1); }}},
      {{"setsockopt(SO_SNDBUF)", EPERM, [&] { os::setSendBufferSize(plain.get(), INT_MAX); }},
       {},
       SO_SNDBUF},
      {{"socket", EMFILE, bind}, {{"socket", EMFILE}}},
      {{"setsockopt", EPERM, bind}, {}, SO_REUSEADDR},
      {{"setsockopt", EPERM, bind}, {}, SO_REUSEPORT},
      {{"setsockopt(IPV6_V6ONLY)", EPERM, bind6}, {}, IPV6_V6ONLY},
      {{"bind", EADDRINUSE, bind}},
  };
  for (const Row& row : rows) {
    if (row.refusedOption == IPV6_V6ONLY && !hasIpv6()) continue;
    for (const auto& [call, err] : row.injectedCalls) injected.fail(call, err);
    injected.onSetsockopt = [&](int option, int) {
      return option == row.refusedOption ? EPERM : 0;
    };
    expectFailure(row.expected);
    injected.clear();
  }
}

TEST(SocketUtil, failedChangeOfInheritanceClosesOnlyOnRequest) {
  InjectedFailures injected;
  injected.fail("fcntl(F_SETFD)", EPERM);
  int fd = dup(0);
  EXPECT_FALSE(os::trySetInheritable(fd, false));
  EXPECT_TRUE(isOpen(fd));
  errno = 0;
  EXPECT_FALSE(os::trySetInheritable(fd, false, true));
  EXPECT_EQ(errno, EPERM);
  EXPECT_FALSE(isOpen(fd));
}

TEST(SocketUtil, inheritanceCanBeGivenBackAndOntoItselfTakesIt) {
  OwnedFd fd(os::duplicate(0));
  os::setInheritable(fd.get(), true);
  EXPECT_TRUE(os::getInheritable(fd.get()));
  os::duplicateOnto(fd.get(), fd.get());
  EXPECT_FALSE(os::getInheritable(fd.get()));
}

TEST(SocketUtil, blockingModeDropsOtherStatusFlags) {
  Folder folder;
  OwnedFd fd(open(folder.file("log").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600));
  os::setBlocking(fd.get(), false);
  EXPECT_EQ(fcntl(fd.get(), F_GETFL) & (O_APPEND | O_NONBLOCK), O_NONBLOCK);
  os::setBlocking(fd.get(), true);
  EXPECT_EQ(fcntl(fd.get(), F_GETFL) & (O_APPEND | O_NONBLOCK), 0);
}

TEST(SocketUtil, interruptedCallsAreRepeated) {
  InjectedFailures injected;
  sockaddr_in address;
  OwnedFd listener(listenOn(address));
  for (bool hasAccept4 : {true, false}) {
    injected.clear();
    injected.fail("connect", EINTR, 3);
    injected.fail("accept4", hasAccept4 ? EINTR : ENOSYS, hasAccept4 ? 3 : INT_MAX);
    injected.fail("accept", EINTR, 3);
    injected.fail("dup3", EINTR, 3);
    OwnedFd client(os::createSocket(AF_INET, SOCK_STREAM, 0));
    EXPECT_TRUE(os::connectSocket(client.get(), generic(address), sizeof address));
    sockaddr_in peer{};
    socklen_t length = sizeof peer;
    OwnedFd accepted(os::acceptSocket(listener.get(), generic(peer), &length));
    EXPECT_EQ(peer.sin_addr.s_addr, address.sin_addr.s_addr);
    os::duplicateOnto(client.get(), accepted.get());
    EXPECT_EQ(injected.attempts("connect"), 4);
    EXPECT_EQ(injected.attempts("accept"), hasAccept4 ? 0 : 4);
    EXPECT_EQ(injected.attempts("dup3"), 4);
  }
}

TEST(SocketUtil, nothingToAcceptGivesMinusOne) {
  InjectedFailures injected;
  sockaddr_in address;
  OwnedFd listener(listenOn(address));
  os::setBlocking(listener.get(), false);
  EXPECT_EQ(os::acceptSocket(listener.get()), -1);
  for (int err : {ECONNABORTED, EPERM}) {
    injected.fail("accept4", err, 1);
    EXPECT_EQ(os::acceptSocket(listener.get()), -1);
    EXPECT_EQ(errno, err);
  }
}

TEST(SocketUtil, connectionInProgressIsNoFailure) {
  InjectedFailures injected;
  injected.fail("connect", EINPROGRESS, 1);
  sockaddr_in address = loopback();
  OwnedFd fd(os::createSocket(AF_INET, SOCK_STREAM, 0));
  EXPECT_FALSE(os::connectSocket(fd.get(), generic(address), sizeof address));
}

TEST(SocketUtil, refusedBufferSizesAreLoweredByAFifth) {
  InjectedFailures injected;
  CapturedLog captured;
  struct Row {
    int option;
    int (*set)(int fd, int bytes);
    const char* line;
  };
  for (const Row& row :
       {Row{SO_RCVBUF, os::setReceiveBufferSize, "100 SocketUtil Using receive buffer size of "},
        Row{SO_SNDBUF, os::setSendBufferSize, "100 SocketUtil Using send buffer size of "}}) {
    SCOPED_TRACE(row.line);
    OwnedFd fd(os::createSocket(AF_INET, SOCK_STREAM, 0));
    std::vector<int> tried;
    injected.onSetsockopt = [&](int option, int value) {
      EXPECT_EQ(option, row.option);
      tried.push_back(value);
      return value > 5000000 ? (tried.size() == 1 ? ENOBUFS : ENOMEM) : 0;
    };
    int size = row.set(fd.get(), 8 << 20);
    EXPECT_EQ(tried, (std::vector<int>{8388608, 6710884, 5368704, 4294960}));
    EXPECT_EQ(size, intOption(fd.get(), SOL_SOCKET, row.option));
    std::string line = row.line + std::to_string(size / 1024) + " KiB";
    EXPECT_EQ(captured.lines, std::vector<std::string>{line});

    EXPECT_EQ(row.set(fd.get(), size), size);
    EXPECT_EQ(tried.size(), 4u) << "a size that is there already was set again";
    captured.lines.clear();
  }
}

TEST(SocketUtil, bufferSizeRefusedAtEverySizeFailsInTheEnd) {
  InjectedFailures injected;
  OwnedFd fd(os::createSocket(AF_INET, SOCK_STREAM, 0));
  injected.onSetsockopt = [](int, int) { return ENOBUFS; };
  expectFailure(
      {"setsockopt(SO_RCVBUF)", ENOBUFS, [&] { os::setReceiveBufferSize(fd.get(), INT_MAX); }});
}

TEST(SocketUtil, configuredDscpMarksBothEndsOfAConnection) {
  sockaddr_in address;
  OwnedFd listener(listenOn(address));
  struct Row {
    int dscp;
    os::ConnectMode mode;
    int clientField, serverField;
  };
  for (const Row& row :
       {Row{0, os::ConnectMode::standard, 0, 0}, Row{46, os::ConnectMode::standard, 184, 184},
        Row{46, os::ConnectMode::noDscp, 0, 184}}) {
    SCOPED_TRACE(row.dscp);
    os::configureDscp(row.dscp);
    OwnedFd client(os::createSocket(AF_INET, SOCK_STREAM, 0));
    os::connectSocket(client.get(), generic(address), sizeof address, row.mode);
    OwnedFd server(os::acceptSocket(listener.get()));
    EXPECT_EQ(intOption(client.get(), IPPROTO_IP, IP_TOS), row.clientField);
    EXPECT_EQ(intOption(server.get(), IPPROTO_IP, IP_TOS), row.serverField);
  }
  os::configureDscp(0);
}

TEST(SocketUtil, socketOptionsByFamilyAndTheirFailuresAreLogged) {
  InjectedFailures injected;
  CapturedLog captured;
  os::configureDscp(10);
  OwnedFd local(os::createSocket(AF_UNIX, SOCK_STREAM, 0));
  OwnedFd inet(os::createSocket(AF_INET, SOCK_DGRAM, 0));
  OwnedFd inet6(os::createSocket(AF_INET6, SOCK_DGRAM, 0));
  os::setDscp(local.get());
  os::setDscp(inet.get());
  os::setPathMtuDiscovery(local.get(), true, AF_UNIX);
  EXPECT_EQ(intOption(inet.get(), IPPROTO_IP, IP_TOS), 40);
  for (bool on : {true, false}) {
    os::setPathMtuDiscovery(inet.get(), on, AF_INET);
    EXPECT_EQ(intOption(inet.get(), IPPROTO_IP, IP_MTU_DISCOVER),
              on ? IP_PMTUDISC_DO : IP_PMTUDISC_DONT);
  }
  if (hasIpv6()) {
    os::setDscp(inet6.get());
    EXPECT_EQ(intOption(inet6.get(), IPPROTO_IPV6, IPV6_TCLASS), 40);
    for (bool on : {true, false}) {
      os::setPathMtuDiscovery(inet6.get(), on, AF_INET6);
      EXPECT_EQ(intOption(inet6.get(), IPPROTO_IPV6, IPV6_MTU_DISCOVER),
                on ? IPV6_PMTUDISC_DO : IPV6_PMTUDISC_DONT);
    }
  }
  EXPECT_TRUE(captured.lines.empty());

  injected.onSetsockopt = [](int, int) { return EPERM; };
  os::setDscp(inet.get());
  os::setDscp(-1);
  os::setPathMtuDiscovery(inet.get(), true, AF_INET);
  os::setPathMtuDiscovery(inet.get(), false, AF_INET6);
  os::configureDscp(0);
  os::setDscp(-1);
  EXPECT_EQ(captured.lines,
            (std::vector<std::string>{
                "0 SocketUtil setsockopt(DSCP, 10): Operation not permitted",
                "0 SocketUtil setsockopt(DSCP, 10): Bad file descriptor",
                "0 SocketUtil setsockopt(IP_MTU_DISCOVER,IP_PMTUDISC_DO): Operation not permitted",
                "0 SocketUtil setsockopt(IPV6_MTU_DISCOVER,IPV6_PMTUDISC_DONT): "
                "Operation not permitted"}));
}

TEST(SocketUtil, boundSocketsShareAPortOnlyWhereAsked) {
  sockaddr_in address = loopback();
  socklen_t length = sizeof address;
  OwnedFd first(os::createBoundSocket(generic(address), length, SOCK_DGRAM, true));
  ASSERT_EQ(getsockname(first.get(), generic(address), &length), 0);
  OwnedFd second(os::createBoundSocket(generic(address), length, SOCK_DGRAM, true));
  EXPECT_EQ(intOption(second.get(), SOL_SOCKET, SO_REUSEPORT), 1);
  EXPECT_EQ(intOption(second.get(), SOL_SOCKET, SO_REUSEADDR), 1);

  sockaddr_in6 address6{};
  address6.sin6_family = AF_INET6;
  if (!hasIpv6()) return;
  OwnedFd only6(os::createBoundSocket(generic(address6), sizeof address6, SOCK_DGRAM, false));
  EXPECT_EQ(intOption(only6.get(), IPPROTO_IPV6, IPV6_V6ONLY), 1);
  EXPECT_EQ(intOption(only6.get(), SOL_SOCKET, SO_REUSEPORT), 0);
}

TEST(SocketUtil, preparationLowersTheDescriptorLimitToWhatSelectCanWatch) {
  const rlim_t limits[][2] = {{4096, 1024}, {1025, 1024}, {1024, 1024}, {256, 256}};
  for (const auto& [before, after] : limits) {
    EXPECT_EXIT(_exit(limitAfterPreparation(before) == after ? 0 : 1), ExitedWithCode(0), "");
  }
}

TEST(SocketUtil, preparationRunsOncePerProcess) {
  EXPECT_EXIT(
      {
        CHILD_CHECK(limitAfterPreparation(4096) == 1024);
        CHILD_CHECK(limitAfterPreparation(2048) == 2048);
        _exit(0);
      },
      ExitedWithCode(0), "");
}

TEST(SocketUtil, refusedDescriptorLimitIsLoggedOnly) {
  EXPECT_EXIT(
      {
        CapturedLog captured;
        InjectedFailures injected;
        struct rlimit limit;
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = 4096;
        CHILD_CHECK(setrlimit(RLIMIT_NOFILE, &limit) == 0);
        injected.fail("setrlimit", EPERM);
        os::prepareProcess();
        CHILD_CHECK(captured.lines.size() == 1);
        CHILD_CHECK(captured.lines[0] ==
                    "0 SocketUtil setrlimit(RLIMIT_NOFILE): Operation not permitted (1)");
        _exit(0);
      },
      ExitedWithCode(0), "");
}

TEST(SocketUtil, preparationIgnoresThePipeSignalUnlessItIsHandled) {
  EXPECT_EXIT(
      {
        signal(SIGPIPE, SIG_DFL);
        os::prepareProcess();
        _exit(pipeSignalAction() == SIG_IGN ? 0 : 1);
      },
      ExitedWithCode(0), "");
  EXPECT_EXIT(
      {
        signal(SIGPIPE, onPipeSignal);
        os::prepareProcess();
        _exit(pipeSignalAction() == onPipeSignal ? 0 : 1);
      },
      ExitedWithCode(0), "");
}

TEST(SocketUtil, unixAddressTakesPathsThatLeaveRoomForTheirEnd) {
  sockaddr_un address;
  memset(&address, 'x', sizeof address);
  std::string path = "/" + std::string(106, 'a');
  os::fillUnixAddress(&address, path.c_str());
  EXPECT_EQ(address.sun_family, AF_UNIX);
  EXPECT_STREQ(address.sun_path, path.c_str());
  expectFailure(
      {"UnixIo", ENAMETOOLONG, [&] { os::fillUnixAddress(&address, (path + "a").c_str()); }});
}

TEST(SocketUtil, unixSocketIsAliveWhileSomethingListens) {
  Folder folder;
  std::string path = folder.file("socket"), datagramPath = folder.file("datagram");
  std::string plainFile = folder.file("file");
  close(creat(plainFile.c_str(), 0600));
  int freeFd = lowestFreeFd();

  EXPECT_FALSE(os::isUnixSocketAlive(path.c_str(), false));
  {
    OwnedFd listener(bindUnix(path, SOCK_STREAM)), receiver(bindUnix(datagramPath, SOCK_DGRAM));
    EXPECT_FALSE(os::isUnixSocketAlive(path.c_str(), false)) << "bound, but not listening";
    ASSERT_EQ(listen(listener.get(), 0), 0);
    EXPECT_TRUE(os::isUnixSocketAlive(path.c_str(), false));
    EXPECT_TRUE(os::isUnixSocketAlive(datagramPath.c_str(), true));
    EXPECT_FALSE(os::isUnixSocketAlive(path.c_str(), true));
    EXPECT_FALSE(os::isUnixSocketAlive(datagramPath.c_str(), false));
    // The queue of a listener that accepts nothing fills up.
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(os::isUnixSocketAlive(path.c_str(), false));
  }
  EXPECT_FALSE(os::isUnixSocketAlive(path.c_str(), false)) << "the file outlived its listener";
  EXPECT_FALSE(os::isUnixSocketAlive(plainFile.c_str(), false));
  EXPECT_EQ(lowestFreeFd(), freeFd);

  expectFailure(
      {"connect", ENOTDIR, [&] { os::isUnixSocketAlive((plainFile + "/socket").c_str(), false); }});
  expectFailure({"UnixIo", ENAMETOOLONG,
                 [&] { os::isUnixSocketAlive(std::string(108, 'a').c_str(), false); }});
}
