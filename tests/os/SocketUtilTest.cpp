#include "base/os/SocketUtil.h"

#include <fcntl.h>
#include <netinet/ip.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/un.h>

#include "tests/os/outcomes.h"

using std::to_string;

namespace {

int fds[2];
const testing::ExitedWithCode succeeded(0);

int makeSocket(int family = AF_INET) {
  return os::createSocket(family, SOCK_STREAM, 0);
}

const char* makePair() {
  return os::createSocketPair(AF_UNIX, SOCK_STREAM, 0, fds), "";
}

// Leaves a listener and the two ends of a connection to it, which it returns.
std::pair<int, int> connected(os::ConnectMode mode = os::ConnectMode::standard) {
  sockaddr_in address = {AF_INET, 0, {}, {}};
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  socklen_t length = sizeof address;
  const int listener = os::createBoundSocket(generic, length, SOCK_STREAM, true);
  EXPECT_EQ(listen(listener, 8) + getsockname(listener, generic, &length), 0);
  const int client = makeSocket();
  EXPECT_TRUE(os::connectSocket(client, generic, length, mode));
  return {client, os::acceptSocket(listener)};
}

std::string optionOf(int fd, int level, int option) {
  int value = -1;
  socklen_t length = sizeof value;
  EXPECT_EQ(getsockopt(fd, level, option, &value, &length), 0);
  return to_string(value) + " ";
}

std::string marksOf(const std::pair<int, int>& ends) {
  return optionOf(ends.first, IPPROTO_IP, IP_TOS) + optionOf(ends.second, IPPROTO_IP, IP_TOS);
}

void prepare(rlim_t soft, const std::string& promise) {
  rlimit limit = {soft, 4096};
  CHILD_CHECK(setrlimit(RLIMIT_NOFILE, &limit) == 0);
  const auto handler = soft == 256 ? [](int) {} : SIG_DFL;
  signal(SIGPIPE, handler);
  HOLD((makeSocket(), getrlimit(RLIMIT_NOFILE, &limit), limit.rlim_cur), promise);
  HOLD(signal(SIGPIPE, SIG_DFL) == SIG_IGN, handler == SIG_DFL ? "> 1" : "> 0");
  _exit(testing::Test::HasFailure());
}

}  // namespace

// 4 is EINTR, 5 EIO, 22 EINVAL, 38 ENOSYS, 93 EPROTONOSUPPORT.
TEST(SocketUtil, newDescriptorsAreCloseOnExecAlsoWhereTheSystemLacksTheFlag) {
  HOLD((makeSocket(), ""), "> c", "socket 5 > socket 5");
  HOLD(makePair(), "> cc", "socketpair 5 > socketpair 5");
  HOLD((os::createPipe(fds), ""), "> cc", "pipe2 22 > cc", "pipe2 38 > cc", "pipe2 5 > pipe2 5",
       "pipe2 38 pipe 5 > pipe 5", "pipe2 38 fcntl64 5 > setInheritable 5");
  HOLD(os::duplicate(1), "> 0c", "fcntl64 22 > 0c", "fcntl64 5 > fcntl(F_DUPFD_CLOEXEC) 5",
       "fcntl64 22 dup 5 > dup 5", "fcntl64 22 fcntl64 5 > setInheritable 5");
  HOLD((os::duplicateOnto(1, 0), ""), "dup3 4 dup3 4 > c", "dup3 22 > c",
       "dup3 38 dup2 4 dup2 4 > c", "dup3 5 > dup2 5", "dup3 38 dup2 5 > dup2 5",
       "dup3 38 fcntl64 5 > setInheritable 5i");
  HOLD((connected(), ""), "connect 4 connect 4 accept4 4 accept4 4 > ccc", "accept4 22 > ccc",
       "accept4 38 accept 4 accept 4 > ccc", "connect 5 > connect 5cc", "accept4 5 > accept 5cc",
       "accept4 38 accept 22 > accept 22cc", "accept4 38 fcntl64 5 > setInheritable 5cc",
       "setsockopt 5 > setsockopt 5");
  HOLD(os::acceptSocket(1), "accept4 11 > -1", "accept4 103 > -1", "accept4 1 > -1");
}

TEST(SocketUtil, flagThatSocketsRefuseIsNotTriedAgain) {
  const std::function<void()> sequences[] = {
      [] {
        HOLD((makeSocket(), ""), "socket 93 > c", "socket 22 > socket 22", "fcntl64 5 > socket 5");
        HOLD(makePair(), "socketpair 22 > socketpair 22");
      },
      [] {
        HOLD(makePair(), "socketpair 22 > cc", "fcntl64 5 > setInheritable 5");
        HOLD((makeSocket(), ""), "socket 22 > socket 22");
      }};
  for (const auto& refused : sequences)
    EXPECT_EXIT((refused(), _exit(HasFailure())), succeeded, "");
}

TEST(SocketUtil, flagsAndOptionsAreThoseAskedFor) {
  const int file = open("/dev/null", O_WRONLY | O_APPEND);
  sockaddr_in6 any = {AF_INET6, 0, 0, {}, 0};
  for (bool on : {true, false}) {
    HOLD((os::setInheritable(file, on), os::getInheritable(file)), "> " + to_string(on));
    HOLD((os::setBlocking(file, on), fcntl(file, F_GETFL) & (O_APPEND | O_NONBLOCK)),
         "> " + to_string(on ? 0 : O_NONBLOCK), "fcntl64 5 > setBlocking 5");
    const auto bound = [&](int level, int option) {
      const auto* address = reinterpret_cast<sockaddr*>(&any);
      return optionOf(os::createBoundSocket(address, sizeof any, SOCK_STREAM, on), level, option);
    };
    HOLD(bound(IPPROTO_IPV6, IPV6_V6ONLY), "> 1 c", "setsockopt 5 > setsockopt(IPV6_V6ONLY) 5");
    HOLD(bound(SOL_SOCKET, SO_REUSEADDR), "> 1 c");
    HOLD(bound(SOL_SOCKET, SO_REUSEPORT), on ? "> 1 c" : "> 0 c");
  }
  HOLD(os::getInheritable(file), "fcntl64 5 > getInheritable 5");
  HOLD((os::setInheritable(dup(1), true), ""), "fcntl64 5 > setInheritable 5i");
  HOLD((os::setInheritable(file, true, true), ""), "fcntl64 5 > setInheritable 5",
       "> setInheritable 9");
}

TEST(SocketUtil, buffersAreRaisedToWhatTheSystemGrants) {
  std::string refusals;
  for (int i = 0; i < 200; i++) refusals += "setsockopt 12 ";
  const auto check = [&](auto set, const std::string& name, const std::string& option) {
    const int size = set(fds[0], 0);
    const auto logged = [&](int bytes) {
      return "> 100 SocketUtil Using " + name + " buffer size of " + to_string(bytes / 1024) +
             " KiB\n" + to_string(bytes);
    };
    HOLD(set(fds[0], size), "setsockopt 5 " + logged(size));
    // Four fifths twice; the system doubles what it is told.
    HOLD(set(fds[0], size + 1), "setsockopt 5 > setsockopt(" + option + ") 5",
         refusals + "> setsockopt(" + option + ") 12",
         "setsockopt 105 setsockopt 12 " + logged((size + 1) / 5 * 4 / 5 * 8));
    HOLD(set(-1, 1), "> getsockopt(" + option + ") 9");
  };
  os::createSocketPair(AF_UNIX, SOCK_STREAM, 0, fds);
  check(os::setReceiveBufferSize, "receive", "SO_RCVBUF");
  check(os::setSendBufferSize, "send", "SO_SNDBUF");
  EXPECT_EQ(os::closeFd(fds[0]) + os::closeFd(fds[1]), 0);
}

TEST(SocketUtil, connectionsAreMarkedWithTheConfiguredDscp) {
  for (int dscp : {1, 63, 0}) {
    os::configureDscp(dscp);
    const std::string mark = to_string(dscp * 4) + " ";
    HOLD(marksOf(connected()), "> " + mark + mark + "ccc");
    HOLD(marksOf(connected(os::ConnectMode::noDscp)), "> 0 " + mark + "ccc");
    fds[0] = makeSocket(), fds[1] = makeSocket(AF_INET6);
    HOLD(os::connectSocket(fds[0], nullptr, 0), "connect 115 > 0");
    HOLD((os::setDscp(fds[1]), optionOf(fds[1], IPPROTO_IPV6, IPV6_TCLASS)), "> " + mark);
    EXPECT_EQ(marksOf({fds[0], fds[0]}), mark + mark);
    EXPECT_EQ(os::closeFd(fds[0]) + os::closeFd(fds[1]), 0);
    HOLD((os::setDscp(makeSocket(AF_UNIX)), ""), "> c");
    const std::string failure =
        "0 SocketUtil setsockopt(DSCP, " + to_string(dscp) + "): Bad file descriptor\n";
    HOLD((os::setDscp(-1), ""), dscp ? "> " + failure : "> ");
  }
  for (int bad : {-1, 64}) EXPECT_DEATH(os::configureDscp(bad), "value >= 0 && value <= 63");
}

TEST(SocketUtil, pathMtuDiscoveryIsSetOrItsFailureLogged) {
  const auto set = [](int family, bool on) {
    const int fd = makeSocket(family), ip6 = family == AF_INET6;
    os::setPathMtuDiscovery(fd, on, family);
    if (family == AF_UNIX) return std::string();
    return optionOf(fd, ip6 ? IPPROTO_IPV6 : IPPROTO_IP, ip6 ? IPV6_MTU_DISCOVER : IP_MTU_DISCOVER);
  };
  const std::string failed = "setsockopt 5 > 0 SocketUtil setsockopt(IP";
  for (bool on : {true, false}) {
    const std::string tail = std::string(on ? "DO" : "DONT") + "): Input/output error\n1 c";
    const std::string value = on ? "> 2 c" : "> 0 c";
    HOLD(set(AF_INET, on), value, failed + "_MTU_DISCOVER,IP_PMTUDISC_" + tail);
    HOLD(set(AF_INET6, on), value, failed + "V6_MTU_DISCOVER,IPV6_PMTUDISC_" + tail);
    HOLD(set(AF_UNIX, on), "> c");
  }
}

TEST(SocketUtil, preparationSuitsSelectAndIgnoresThePipeSignal) {
  const std::string failed = "(RLIMIT_NOFILE): Operation not permitted (1)\n2000c";
  const std::pair<rlim_t, std::string> rows[] = {
      {4096, "> 1024c"},
      {1025, "> 1024c"},
      {256, "> 256c"},
      {2000, "setrlimit64 1 > 0 SocketUtil setrlimit" + failed},
      {2000, "getrlimit64 1 > 0 SocketUtil getrlimit" + failed}};
  for (const auto& [soft, promise] : rows) EXPECT_EXIT(prepare(soft, promise), succeeded, "");
}

TEST(SocketUtil, unixSocketIsAliveWhileSomethingListens) {
  test::ScratchFolder folder;
  std::string path = folder / "s";
  path.resize(107, 's');
  bool datagram = false;
  const auto alive = [&] { return os::isUnixSocketAlive(path.c_str(), datagram); };
  HOLD(alive(), "> 0");
  const int listener = os::createBoundUnixSocket(path.c_str());
  HOLD(alive(), "> 0");
  EXPECT_EQ(listen(listener, 0), 0);
  // The queue of a listener that accepts nothing fills up.
  HOLD(alive(), "> 1", "> 1", "> 1", "connect 13 > connect 13");
  datagram = true;
  HOLD(alive(), "> 0", "connect 11 > connect 11");
  datagram = false;
  close(listener);
  HOLD(alive(), "> 0");
  HOLD(os::createBoundUnixSocket(path.c_str()), "> bind 98");
  path += 's';
  HOLD(alive(), "> UnixIo 36");
  sockaddr_un address;
  HOLD((os::fillUnixAddress(&address, "s"), address.sun_path), "> s");
}
