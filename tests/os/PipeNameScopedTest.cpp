#include "base/os/PipeNameScoped.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <fstream>
#include <memory>
#include <vector>

#include "base/os/SocketUtil.h"
#include "base/plat/unix/OwnedFd.h"
#include "tests/os/privateDirs.h"
#include "tests/support/childProcess.h"

using os::PipeNameScoped;

namespace {

constexpr uid_t somebody = 65534;

std::unique_ptr<plat::OwnedFd> makeSocket(const std::string& path, bool alive) {
  sockaddr_un address;
  os::fillUnixAddress(&address, path.c_str());
  auto fd = std::make_unique<plat::OwnedFd>(os::createBoundSocket(
      reinterpret_cast<sockaddr*>(&address), sizeof address, SOCK_STREAM, false));
  if (alive && listen(fd->get(), 1) == 0) return fd;
  return nullptr;
}

bool exists(const std::string& path) {
  return std::filesystem::exists(std::filesystem::symlink_status(path));
}

void sweepAsSomebody() {
  bool asExpected;
  {
    PrivateDirs dirs;
    std::string own = dirs.of(std::to_string(somebody)), other = dirs.of("1000");
    std::string dead = own + "/print.printq", foreign = other + "/print.printq";
    CHILD_CHECK(mkdir(own.c_str(), 0700) == 0 && mkdir(other.c_str(), 0700) == 0);
    makeSocket(dead, false);
    makeSocket(foreign, false);
    for (const std::string& path : {own, dead}) {
      CHILD_CHECK(chown(path.c_str(), somebody, somebody) == 0);
    }
    CHILD_CHECK(chmod(other.c_str(), 0777) == 0);
    CHILD_CHECK(seteuid(somebody) == 0);
    PipeNameScoped::removeStale("printq", nullptr);
    CHILD_CHECK(seteuid(0) == 0);
    asExpected = !exists(dead) && exists(foreign);
  }
  _exit(asExpected ? 0 : 1);
}

}  // namespace

TEST(PipeNameScoped, suffixFollowsIdAndIndex) {
  PrivateDirs dirs;
  std::string pid = std::to_string(getpid());
  struct Row {
    int64_t id;
    int index;
    std::string suffix;
  };
  for (const Row& row :
       {Row{0, -1, ""}, Row{0, 0, ""}, Row{0, 3, ".0.3"}, Row{42, -1, ".42"}, Row{42, 0, ".42.0"},
        Row{42, 1, ".42.1"}, Row{-1, -1, "." + pid}, Row{-1, 2, "." + pid + ".2"},
        Row{-2, -7, ".-2"}, Row{INT64_MAX, -1, ".9223372036854775807"}}) {
    EXPECT_EQ(PipeNameScoped::name("printq", "1000", nullptr, row.id, row.index),
              (dirs.of("1000") + "/print.printq" + row.suffix).c_str());
  }
  EXPECT_EQ(PipeNameScoped::name("a b%s", "1000", "other", 0, -1),
            (dirs.of("1000") + "/other.a b%s").c_str());
}

TEST(PipeNameScoped, namingOnesOwnSocketMakesTheDirectory) {
  PrivateDirs dirs;
  PipeNameScoped::name("printq", nullptr, nullptr, 0, -1);
  EXPECT_TRUE(exists(dirs.of(std::to_string(geteuid()))));
}

TEST(PipeNameScoped, superuserRemovesEveryonesDeadSocketsOfThatName) {
  NEEDS_ROOT();
  PrivateDirs dirs;
  std::string one = dirs.of("1000"), other = dirs.of("some-body"), elsewhere = dirs.of("");
  elsewhere.back() = 'x';  // another pathComp
  for (const std::string& dir : {one, other, elsewhere}) ASSERT_EQ(mkdir(dir.c_str(), 0700), 0);

  std::vector<std::string> dead{one + "/print.printq", one + "/print.printq.0.3",
                                other + "/print.printq.42"};
  std::vector<std::string> kept{one + "/print.printq2", one + "/print2.printq", one + "/print",
                                one + "/xprint.printq", elsewhere + "/print.printq"};
  for (const std::string& path : dead) makeSocket(path, false);
  for (const std::string& path : kept) makeSocket(path, false);

  std::string alive = other + "/print.printq.alive", file = other + "/print.printq.file";
  auto listener = makeSocket(alive, true);
  std::ofstream(file) << "no socket";
  std::string link = other + "/print.printq.link";
  ASSERT_EQ(symlink((one + "/print.printq2").c_str(), link.c_str()), 0);
  for (const std::string& path : {alive, file, link}) kept.push_back(path);

  PipeNameScoped::removeStale("printq", "print");
  for (const std::string& path : dead) EXPECT_FALSE(exists(path)) << path;
  for (const std::string& path : kept) EXPECT_TRUE(exists(path)) << path;
  std::filesystem::remove_all(elsewhere);
}

TEST(PipeNameScoped, linkInPlaceOfAPrivateDirectoryIsNotFollowed) {
  PrivateDirs dirs;
  char victim[] = "/tmp/qolt-victim-XXXXXX";
  ASSERT_TRUE(mkdtemp(victim));
  std::string path = victim + std::string("/print.printq");
  makeSocket(path, false);
  for (const std::string& user : {std::string("1000"), std::to_string(geteuid())}) {
    ASSERT_EQ(symlink(victim, dirs.of(user).c_str()), 0);
  }
  PipeNameScoped::removeStale("printq", nullptr);
  EXPECT_TRUE(exists(path));
  std::filesystem::remove_all(victim);
}

TEST(PipeNameScoped, ordinaryUserSweepsHisOwnDirectoryOnly) {
  NEEDS_ROOT();
  EXPECT_EXIT(sweepAsSomebody(), testing::ExitedWithCode(0), "");
}
