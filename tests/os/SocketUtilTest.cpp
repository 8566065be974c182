#include "base/os/SocketUtil.h"

#include <fcntl.h>
#include <netinet/ip.h>
#include <signal.h>
#include <sys/resource.h>

#include "tests/os/outcomes.h"

using plat::OwnedFd;
using std::to_string;
using testing::ExitedWithCode;

namespace {

int fds[2];

// The two ends of a connection, the client first.
std::vector<int> connected(os::ConnectMode mode = os::ConnectMode::standard) {
  sockaddr_in address = {AF_INET, 0, {}, {}};
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  socklen_t length = sizeof address;
  const OwnedFd listener(os::createBoundSocket(generic, length, SOCK_STREAM, true));
  EXPECT_EQ(listen(listener.get(), 8) + getsockname(listener.get(), generic, &length), 0);
  OwnedFd client(os::createSocket(AF_INET, SOCK_STREAM, 0));
  EXPECT_TRUE(os::connectSocket(client.get(), generic, length, mode));
  const int accepted = os::acceptSocket(listener.get());
  return {client.release(), accepted};
}

int optionOf(const OwnedFd& fd, int level, int option) {
  int value = -1;
  socklen_t length = sizeof value;
  EXPECT_EQ(getsockopt(fd.get(), level, option, &value, &length), 0);
  return value;
}

// Closes them; "1 " for each that was close-on-exec.
std::string closed(const std::vector<int>& taken) {
  std::string flags;
  for (int fd : taken) flags += to_string(!os::getInheritable(OwnedFd(fd).get()));
  return flags;
}

std::string makeSocket() {
  return closed({os::createSocket(AF_INET, SOCK_STREAM, 0)});
}

std::string makePair() {
  return os::createSocketPair(AF_UNIX, SOCK_STREAM, 0, fds), closed({fds[0], fds[1]});
}

void prepare(rlim_t soft, sighandler_t handler) {
  for (rlim_t before : {soft, rlim_t{2000}}) {
    rlimit limit = {before, 4096};
    CHILD_CHECK(setrlimit(RLIMIT_NOFILE, &limit) == 0);
    signal(SIGPIPE, handler);
    makeSocket();
    getrlimit(RLIMIT_NOFILE, &limit);
    const bool ignored = signal(SIGPIPE, SIG_DFL) == SIG_IGN;
    fprintf(stderr, "%d%s ", static_cast<int>(limit.rlim_cur), ignored ? " ignored" : "");
  }
  _exit(0);
}

}  // namespace

// 4 is EINTR, 5 EIO, 22 EINVAL, 38 ENOSYS, 93 EPROTONOSUPPORT.
TEST(SocketUtil, newDescriptorsAreCloseOnExecAlsoWhereTheSystemLacksTheFlag) {
  HOLD(makeSocket(), "> 1", "socket 5 > socket 5");
  HOLD(makePair(), "> 11", "socketpair 5 > socketpair 5");
  HOLD((os::createPipe(fds), closed({fds[0], fds[1]})), "> 11", "pipe2 22 > 11", "pipe2 38 > 11",
       "pipe2 5 > pipe2 5", "pipe2 38 pipe 5 > pipe 5", "pipe2 38 fcntl64 5 > setInheritable 5");
  HOLD(closed({os::duplicate(0)}), "> 1", "fcntl64 22 > 1", "fcntl64 5 > fcntl(F_DUPFD_CLOEXEC) 5",
       "fcntl64 22 dup 5 > dup 5", "fcntl64 22 fcntl64 5 > setInheritable 5");
  const OwnedFd target(dup(0));
  HOLD((os::duplicateOnto(1, target.get()), os::getInheritable(target.get())), "dup3 4 dup3 4 > 0",
       "dup3 22 > 0", "dup3 38 dup2 4 dup2 4 > 0", "dup3 5 > dup2 5", "dup3 38 dup2 5 > dup2 5",
       "dup3 38 fcntl64 5 > setInheritable 5");
  HOLD(closed(connected()), "connect 4 connect 4 accept4 4 accept4 4 > 11", "accept4 22 > 11",
       "accept4 38 accept 4 accept 4 > 11", "connect 5 > connect 5", "accept4 5 > accept 5",
       "accept4 38 accept 22 > accept 22", "accept4 38 fcntl64 5 > setInheritable 5",
       "setsockopt 5 > setsockopt 5");
  HOLD(os::acceptSocket(0), "accept4 11 > -1", "accept4 103 > -1", "accept4 1 > -1");
}

TEST(SocketUtil, flagThatSocketsRefuseIsNotTriedAgain) {
  EXPECT_EXIT((HOLD(makeSocket(), "socket 93 > 1", "socket 22 > socket 22", "fcntl64 5 > socket 5"),
               HOLD(makePair(), "socketpair 22 > socketpair 22"), _exit(HasFailure())),
              ExitedWithCode(0), "");
  EXPECT_EXIT((HOLD(makePair(), "socketpair 22 > 11", "fcntl64 5 > setInheritable 5"),
               HOLD(makeSocket(), "socket 22 > socket 22"), _exit(HasFailure())),
              ExitedWithCode(0), "");
}

TEST(SocketUtil, flagsAndOptionsAreThoseAskedFor) {
  const OwnedFd file(open("/dev/null", O_WRONLY | O_APPEND));
  sockaddr_in6 any = {AF_INET6, 0, 0, {}, 0};
  const auto* generic = reinterpret_cast<sockaddr*>(&any);
  for (bool on : {true, false, true}) {
    HOLD((os::setInheritable(file.get(), on), os::getInheritable(file.get())), "> " + to_string(on),
         "fcntl64 5 > setInheritable 5");
    HOLD((os::setBlocking(file.get(), on), fcntl(file.get(), F_GETFL) & (O_APPEND | O_NONBLOCK)),
         "> " + to_string(on ? 0 : O_NONBLOCK), "fcntl64 5 > setBlocking 5");
    HOLD(OwnedFd(os::createBoundSocket(generic, sizeof any, SOCK_STREAM, on)).get() < 0, "> 0",
         "setsockopt 5 > setsockopt(IPV6_V6ONLY) 5");
    const OwnedFd bound(os::createBoundSocket(generic, sizeof any, SOCK_STREAM, on));
    EXPECT_EQ(optionOf(bound, IPPROTO_IPV6, IPV6_V6ONLY), 1);
    EXPECT_EQ(optionOf(bound, SOL_SOCKET, SO_REUSEADDR), 1);
    EXPECT_EQ(optionOf(bound, SOL_SOCKET, SO_REUSEPORT), on);
  }
  HOLD(os::getInheritable(0), "fcntl64 5 > getInheritable 5");
  HOLD((os::setInheritable(dup(0), true, true), ""), "fcntl64 5 > setInheritable 5");
}

TEST(SocketUtil, buffersAreRaisedToWhatTheSystemGrants) {
  std::string refusals;
  for (int i = 0; i < 200; i++) refusals += "setsockopt 12 ";
  const auto check = [&](auto set, const std::string& name, const std::string& option) {
    const OwnedFd fd(os::createSocket(AF_UNIX, SOCK_STREAM, 0));
    const int size = set(fd.get(), 0), lowered = (size + 1) / 5 * 4 / 5 * 4;
    const auto logged = [&](int bytes) {
      return "> 100 SocketUtil Using " + name + " buffer size of " + to_string(bytes / 1024) +
             " KiB\n" + to_string(bytes);
    };
    HOLD(set(fd.get(), size), "setsockopt 5 " + logged(size));
    // The system doubles what it is told.
    HOLD(set(fd.get(), size + 1), "setsockopt 5 > setsockopt(" + option + ") 5",
         refusals + "> setsockopt(" + option + ") 12",
         "setsockopt 105 setsockopt 12 " + logged(2 * lowered));
    HOLD(set(-1, 1), "> getsockopt(" + option + ") 9");
  };
  check(os::setReceiveBufferSize, "receive", "SO_RCVBUF");
  check(os::setSendBufferSize, "send", "SO_SNDBUF");
}

TEST(SocketUtil, connectionsAreMarkedWithTheConfiguredDscp) {
  const OwnedFd ip(os::createSocket(AF_INET, SOCK_STREAM, 0));
  const OwnedFd ip6(os::createSocket(AF_INET6, SOCK_STREAM, 0));
  for (int dscp : {1, 63, 0}) {
    os::configureDscp(dscp);
    for (auto mode : {os::ConnectMode::standard, os::ConnectMode::noDscp}) {
      const std::vector<int> ends = connected(mode);
      const bool marked = mode == os::ConnectMode::standard;
      EXPECT_EQ(optionOf(OwnedFd(ends[0]), IPPROTO_IP, IP_TOS), marked ? dscp * 4 : 0);
      EXPECT_EQ(optionOf(OwnedFd(ends[1]), IPPROTO_IP, IP_TOS), dscp * 4);
    }
    HOLD(os::connectSocket(ip.get(), nullptr, 0), "connect 115 > 0");
    for (int fd : {ip6.get(), fds[0]}) HOLD((os::setDscp(fd), ""), "> ");
    EXPECT_EQ(optionOf(ip, IPPROTO_IP, IP_TOS), dscp ? dscp * 4 : 252);
    EXPECT_EQ(optionOf(ip6, IPPROTO_IPV6, IPV6_TCLASS), dscp ? dscp * 4 : 252);
    const std::string failure =
        "> 0 SocketUtil setsockopt(DSCP, " + to_string(dscp) + "): Bad file descriptor\n";
    HOLD((os::setDscp(-1), ""), dscp ? failure : "> ");
  }
  for (int bad : {-1, 64}) EXPECT_DEATH(os::configureDscp(bad), "value >= 0 && value <= 63");
}

TEST(SocketUtil, pathMtuDiscoveryIsSetOrItsFailureLogged) {
  const OwnedFd ip(os::createSocket(AF_INET, SOCK_STREAM, 0));
  const OwnedFd ip6(os::createSocket(AF_INET6, SOCK_STREAM, 0));
  for (bool on : {true, false}) {
    const std::string failed = std::string(on ? "DO" : "DONT") + "): Input/output error\n";
    HOLD((os::setPathMtuDiscovery(ip.get(), on, AF_INET), ""), "> ",
         "setsockopt 5 > 0 SocketUtil setsockopt(IP_MTU_DISCOVER,IP_PMTUDISC_" + failed);
    HOLD((os::setPathMtuDiscovery(ip6.get(), on, AF_INET6), ""), "> ",
         "setsockopt 5 > 0 SocketUtil setsockopt(IPV6_MTU_DISCOVER,IPV6_PMTUDISC_" + failed);
    HOLD((os::setPathMtuDiscovery(-1, on, AF_UNIX), ""), "> ");
    EXPECT_EQ(optionOf(ip, IPPROTO_IP, IP_MTU_DISCOVER), on ? IP_PMTUDISC_DO : IP_PMTUDISC_DONT);
    EXPECT_EQ(optionOf(ip6, IPPROTO_IPV6, IPV6_MTU_DISCOVER),
              on ? IP_PMTUDISC_DO : IP_PMTUDISC_DONT);
  }
}

TEST(SocketUtil, preparationSuitsSelectAndIgnoresThePipeSignalOnce) {
  EXPECT_EXIT(prepare(4096, SIG_DFL), ExitedWithCode(0), "^1024 ignored 2000 $");
  EXPECT_EXIT(prepare(1025, SIG_IGN), ExitedWithCode(0), "^1024 ignored 2000 ignored $");
  EXPECT_EXIT(prepare(256, [](int) {}), ExitedWithCode(0), "^256 2000 $");
  const rlimit limit = {2000, 4096};
  for (const std::string call : {"getrlimit", "setrlimit"}) {
    const std::string failure = call + "64 1 > 0 SocketUtil " + call + "(RLIMIT_NOFILE): ";
    EXPECT_EXIT(
        (setrlimit(RLIMIT_NOFILE, &limit),
         HOLD(makeSocket(), failure + "Operation not permitted (1)\n1"), _exit(HasFailure())),
        ExitedWithCode(0), "");
  }
}

TEST(SocketUtil, unixSocketIsAliveWhileSomethingListens) {
  test::ScratchFolder folder;
  std::string path = folder / "s";
  path.resize(107, 's');
  HOLD(os::isUnixSocketAlive(path.c_str(), false), "> 0");
  {
    const OwnedFd listener(os::createBoundUnixSocket(path.c_str()));
    HOLD(os::isUnixSocketAlive(path.c_str(), false), "> 0");
    EXPECT_EQ(listen(listener.get(), 0), 0);
    // The queue of a listener that accepts nothing fills up.
    HOLD(os::isUnixSocketAlive(path.c_str(), false), "> 1", "> 1", "> 1",
         "connect 13 > connect 13");
    HOLD(os::isUnixSocketAlive(path.c_str(), true), "> 0", "connect 11 > connect 11");
  }
  HOLD(os::isUnixSocketAlive(path.c_str(), false), "> 0");
  HOLD(os::createBoundUnixSocket(path.c_str()), "> bind 98");
  path += 's';
  HOLD(os::createBoundUnixSocket(path.c_str()), "> UnixIo 36");
  HOLD(os::isUnixSocketAlive(path.c_str(), false), "> UnixIo 36");
}
