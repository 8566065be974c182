#include "base/os/PipeNameScoped.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <memory>
#include <vector>

#include "base/os/SocketUtil.h"
#include "base/plat/unix/OwnedFd.h"
#include "tests/os/privateDirs.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/childProcess.h"

using os::PipeNameScoped;

namespace {

std::unique_ptr<plat::OwnedFd> makeSocket(const std::string& path, bool alive) {
  auto fd = std::make_unique<plat::OwnedFd>(os::createBoundUnixSocket(path.c_str()));
  if (alive && listen(fd->get(), 1) == 0) return fd;
  return nullptr;
}

bool exists(const std::string& path) {
  return std::filesystem::exists(std::filesystem::symlink_status(path));
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
       {Row{0, 3, ".0.3"}, Row{42, -1, ".42"}, Row{42, 0, ".42.0"}, Row{-1, 2, "." + pid + ".2"},
        Row{INT64_MAX, -1, ".9223372036854775807"}}) {
    EXPECT_EQ(PipeNameScoped::name("printq", "1000", nullptr, row.id, row.index),
              (dirs.of("1000") + "/print.printq" + row.suffix).c_str());
  }
}

TEST(PipeNameScoped, superuserRemovesEveryonesDeadSocketsOfThatName) {
  NEEDS_ROOT();
  PrivateDirs dirs;
  std::string one = dirs.of("1000"), other = dirs.of("some-body"), elsewhere = dirs.of("");
  elsewhere.back() = 'x';  // another pathComp
  for (const std::string& dir : {one, other, elsewhere}) ASSERT_EQ(mkdir(dir.c_str(), 0700), 0);

  std::vector<std::string> dead{one + "/print.printq", one + "/print.printq.0.3",
                                other + "/print.printq.42"};
  std::vector<std::string> kept{one + "/print.printq2", one + "/xprint.printq",
                                elsewhere + "/print.printq"};
  for (const std::string& path : dead) makeSocket(path, false);
  for (const std::string& path : kept) makeSocket(path, false);

  std::string alive = other + "/print.printq.alive", file = other + "/print.printq.file";
  auto listener = makeSocket(alive, true);
  test::writeFile(file, "no socket");
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
  test::ScratchFolder victim;
  std::string path = victim / "print.printq";
  makeSocket(path, false);
  for (const std::string& user : {std::string("1000"), std::to_string(geteuid())}) {
    ASSERT_EQ(symlink(victim.path().c_str(), dirs.of(user).c_str()), 0);
  }
  PipeNameScoped::removeStale("printq", nullptr);
  EXPECT_TRUE(exists(path));
}
