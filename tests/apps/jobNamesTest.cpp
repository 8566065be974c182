#include "apps/common/jobNames.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <set>

#include "tests/support/ScratchFolder.h"

namespace {

std::set<std::string> filesOf(uid_t account, const std::string& prefix) {
  std::set<std::string> found;
  for (const plat::String& path : job::filesOf(account)) {
    if (plat::startsWith(path.get(), prefix.c_str())) found.insert(path.get());
  }
  return found;
}

}  // namespace

TEST(jobNames, onlyAJobFileHasTheNameOfOne) {
  const plat::String prefix = job::prefixOf("42");
  EXPECT_STREQ(job::inputPath(prefix.get()).get(), "/tmp/qolt-42.in");
  EXPECT_STREQ(job::descriptionPath(prefix.get()).get(), "/tmp/qolt-42.ini");
  EXPECT_STREQ(job::pagePath(prefix.get(), 12).get(), "/tmp/qolt-42-12.zrle");
  for (const plat::String& path :
       {job::inputPath("/tmp/qolt-x"), job::pagePath("/tmp/qolt-", 0), prefix}) {
    EXPECT_TRUE(job::isJobFile(path.get())) << path.get();
  }
  for (const char* path : {"", "qolt-1.in", "/tmp/qolt", "/tmp/Qolt-1.in", "/tmp/./qolt-1.in",
                           "/tmp/qolt-1/../x", "/tmp/qolt-/", "/var/tmp/qolt-1.in"}) {
    EXPECT_FALSE(job::isJobFile(path)) << path;
  }
}

TEST(jobNames, filesOfAnAccountAreItsRegularFiles) {
  const std::string prefix = job::prefixOf(("test" + std::to_string(getpid())).c_str()).get();
  const std::string document = job::inputPath(prefix.c_str()).get();
  const std::string page = job::pagePath(prefix.c_str(), 0).get();
  const std::string link = prefix + ".link", folder = prefix + ".folder";
  for (const std::string& path : {document, page}) test::writeFile(path, "");
  std::filesystem::create_symlink(document, link);
  std::filesystem::create_directory(folder);
  EXPECT_EQ(filesOf(geteuid(), prefix), (std::set<std::string>{document, page}));
  EXPECT_TRUE(filesOf(geteuid() + 1, prefix).empty());
  for (const std::string& path : {document, page, link, folder}) std::filesystem::remove(path);
}
