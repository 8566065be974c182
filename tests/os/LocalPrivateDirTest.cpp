#include "base/os/LocalPrivateDir.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <fstream>

#include "base/plat/Exception.h"
#include "tests/os/privateDirs.h"

using os::LocalPrivateDir;

namespace {

constexpr uid_t somebody = 65534;

struct stat infoOf(const std::string& path) {
  struct stat info {};
  EXPECT_EQ(lstat(path.c_str(), &info), 0) << path;
  return info;
}

}  // namespace

TEST(LocalPrivateDir, directoryOfANamedUserIsOnlyNamed) {
  PrivateDirs dirs;
  EXPECT_EQ(LocalPrivateDir::get("1000"), dirs.of("1000").c_str());
  EXPECT_FALSE(std::filesystem::exists(dirs.of("1000")));
}

TEST(LocalPrivateDir, ownDirectoryIsMadeForItsUserOnly) {
  PrivateDirs dirs;
  std::string own = dirs.of(std::to_string(geteuid()));
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(LocalPrivateDir::get(nullptr), own.c_str());
    EXPECT_EQ(infoOf(own).st_mode, S_IFDIR | 0700u);
  }
}

TEST(LocalPrivateDir, existingDirectoryBecomesPrivate) {
  const mode_t modes[][2] = {{0755, 0700}, {01777, 01700}, {0570, 0500}, {0300, 0300}};
  for (const auto& [before, after] : modes) {
    for (uid_t owner : {geteuid(), somebody}) {
      SCOPED_TRACE(before);
      PrivateDirs dirs;
      std::string own = dirs.of(std::to_string(geteuid()));
      ASSERT_EQ(mkdir(own.c_str(), 0700), 0);
      if (chown(own.c_str(), owner, 7) != 0) GTEST_SKIP() << "only root can give files away";
      ASSERT_EQ(chmod(own.c_str(), before), 0);
      LocalPrivateDir::get(nullptr);
      struct stat info = infoOf(own);
      EXPECT_EQ(info.st_mode, S_IFDIR | after);
      EXPECT_EQ(info.st_uid, geteuid());
      EXPECT_EQ(info.st_gid, 7u);
    }
  }
}

TEST(LocalPrivateDir, whateverIsNoDirectoryIsRefusedUntouched) {
  PrivateDirs dirs;
  std::string own = dirs.of(std::to_string(geteuid())), target = dirs.of("target");
  ASSERT_EQ(mkdir(target.c_str(), 0700), 0);
  ASSERT_EQ(chmod(target.c_str(), 0755), 0);
  for (const char* kind : {"file", "link to a directory", "dangling link"}) {
    SCOPED_TRACE(kind);
    if (kind == std::string("file")) {
      std::ofstream(own) << "text";
    } else {
      ASSERT_EQ(symlink(kind[0] == 'l' ? target.c_str() : "nowhere", own.c_str()), 0);
    }
    try {
      LocalPrivateDir::get(nullptr);
      ADD_FAILURE() << "nothing thrown";
    } catch (const plat::SystemException& failure) {
      EXPECT_EQ(failure.message, "mkDir(" + own + "): File exists (17)");
      EXPECT_EQ(failure.err, EEXIST);
    }
    EXPECT_EQ(unlink(own.c_str()), 0);
  }
  EXPECT_EQ(infoOf(target).st_mode, S_IFDIR | 0755u);
}
