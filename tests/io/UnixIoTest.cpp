#include "base/os/unix/UnixIo.h"

#include <fcntl.h>
#include <sys/un.h>

#include "base/os/SocketUtil.h"
#include "tests/io/Stage.h"
#include "tests/support/ScratchFolder.h"

namespace {

const test::ScratchFolder folder;

plat::OwnedFd boundTo(const std::string& path, int type = SOCK_STREAM) {
  plat::OwnedFd fd(socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
  sockaddr_un address;
  os::fillUnixAddress(&address, path.c_str());
  EXPECT_EQ(bind(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0) << path;
  return fd;
}

TEST(UnixIo, connectsToAPathOf107BytesAndNamesBothEnds) {
  const std::string start = folder / ":", rest(107 - start.size(), 'x'), path = start + rest;
  const plat::OwnedFd listener = boundTo(path);
  ASSERT_EQ(listen(listener.get(), 5), 0);
  os::UnixIo client(path.c_str(), -1, false);
  os::UnixIo server("/given", os::acceptSocket(listener.get()), false);
  os::UnixIo file(nullptr, open("/dev/null", O_RDWR), false);
  const std::string uid = std::to_string(geteuid());
  EXPECT_EQ(client.name(), "<unix-client-" + path + "-uid-" + uid + ">");
  EXPECT_EQ(server.name(), "<unix-server-/given-uid-" + uid + ">");
  EXPECT_STREQ(file.name(), "<unix-server-anon>");
  EXPECT_EQ(client.peerName(), "[unix:" + folder.path() + "/%3A" + rest + "]");
  for (os::UnixIo* io : {&server, &file}) EXPECT_STREQ(io->peerEndpoint(), "");
  EXPECT_TRUE(client.getFlags().contains("secureTransport"));

  client.namedPipeCredCheck(geteuid());
  EXPECT_EQ(fakes::thrownBy([&] { client.namedPipeCredCheck(geteuid() + 1); }),
            ": namedPipeCredCheck: uid mismatch");
  EXPECT_EQ(fakes::thrownBy([&] { file.getPeerEuid(); }),
            "System-88: getPeerEuid: Socket operation on non-socket (88)");
}

TEST(UnixIo, failedConnectionIsToldAndLeaksNothing) {
  boundTo(folder / "left");
  const plat::OwnedFd full = boundTo(folder / "full"), mute = boundTo(folder / "mute", SOCK_DGRAM);
  ASSERT_EQ(listen(full.get(), 0), 0);
  const os::UnixIo first((folder / "full").c_str(), -1, false);
  const std::string rows[][2] = {
      {"", "System-2: UnixIo: No such file or directory (2)"},
      {std::string(108, '/'), "System-36: UnixIo: File name too long (36)"},
      {folder / "missing", "System-2: connect: No such file or directory (2)"},
      {folder / "left", "System-111: connect: Connection refused (111)"},
      {folder / "mute", "System-91: connect: Protocol wrong type for socket (91)"},
      // It used to be waited for for ever.
      {folder / "full", "System-11: connect: Resource temporarily unavailable (11)"}};
  const plat::OwnedFd before(dup(0));
  for (const auto& [path, problem] : rows) {
    EXPECT_EQ(fakes::thrownBy([&] { os::UnixIo(path.c_str(), -1, false, 50); }), problem) << path;
  }
  EXPECT_EQ(plat::OwnedFd(dup(0)).get(), before.get() + 1);

  os::UnixIo datagrams((folder / "mute").c_str(), -1, true);
  datagrams.out()->writeU8('x');
  datagrams.out()->flush();
  char bytes[2];
  EXPECT_EQ(recv(mute.get(), bytes, 2, MSG_DONTWAIT), 1);
}

}  // namespace
