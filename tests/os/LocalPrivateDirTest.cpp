#include "base/os/LocalPrivateDir.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "base/plat/Exception.h"
#include "tests/os/privateDirs.h"

using os::LocalPrivateDir;

namespace {

constexpr uid_t somebody = 65534;

}  // namespace

TEST(LocalPrivateDir, existingDirectoryBecomesPrivate) {
  const mode_t modes[][2] = {{01777, 01700}, {0570, 0500}, {0300, 0300}};
  for (const auto& [before, after] : modes) {
    for (uid_t owner : {geteuid(), somebody}) {
      SCOPED_TRACE(before);
      PrivateDirs dirs;
      std::string own = dirs.of(std::to_string(geteuid()));
      ASSERT_EQ(mkdir(own.c_str(), 0700), 0);
      if (chown(own.c_str(), owner, 7) != 0) GTEST_SKIP() << "only root can give files away";
      ASSERT_EQ(chmod(own.c_str(), before), 0);
      LocalPrivateDir::get(nullptr);
      struct stat info {};
      ASSERT_EQ(lstat(own.c_str(), &info), 0);
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
  for (const std::string& kind : {std::string("file"), target, std::string("nowhere")}) {
    SCOPED_TRACE(kind);
    if (kind == "file") {
      std::ofstream(own) << "text";
    } else {
      ASSERT_EQ(symlink(kind.c_str(), own.c_str()), 0);
    }
    EXPECT_THROW(LocalPrivateDir::get(nullptr), plat::SystemException);
    EXPECT_EQ(unlink(own.c_str()), 0);
  }
  struct stat info {};
  ASSERT_EQ(stat(target.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode, S_IFDIR | 0755u);
}
