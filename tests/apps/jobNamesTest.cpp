#include "apps/common/jobNames.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/ScratchFolder.h"

TEST(jobNames, onlyAJobFileHasTheNameOfOne) {
  for (const char* path : {"/tmp/qolt-", "/tmp/qolt-1.in"}) EXPECT_TRUE(job::isJobFile(path));
  for (const char* path : {"", "qolt-1.in", "/tmp/qolt", "/tmp/Qolt-1.in", "/tmp/./qolt-1.in",
                           "/tmp/qolt-1/../x", "/tmp/qolt-/", "/var/tmp/qolt-1.in"}) {
    EXPECT_FALSE(job::isJobFile(path)) << path;
  }
}

TEST(jobNames, filesOfAnAccountAreItsRegularFiles) {
  const std::string prefix = "/tmp/qolt-test" + std::to_string(getpid());
  test::writeFile(prefix + ".file", "");
  std::filesystem::create_symlink(prefix + ".file", prefix + ".link");
  std::filesystem::create_directory(prefix + ".folder");
  for (uid_t account : {geteuid(), geteuid() + 1}) {
    std::string found;
    for (const plat::String& path : job::filesOf(account)) {
      if (plat::startsWith(path.get(), prefix.c_str())) found += path.get();
    }
    EXPECT_EQ(found, account == geteuid() ? prefix + ".file" : "");
  }
  for (const char* suffix : {".file", ".link", ".folder"}) std::filesystem::remove(prefix + suffix);
}
