#include "base/os/unix/DirEnum.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "base/plat/Exception.h"

TEST(DirEnum, listsEveryEntryButTheDirectoriesThemselves) {
  char dir[] = "/tmp/direnum-XXXXXX";
  ASSERT_TRUE(mkdtemp(dir));
  std::set<std::string> made{".hidden", "..twoDots", "plain"}, listed;
  for (const std::string& name : made) std::ofstream(std::string(dir) + "/" + name);
  {
    os::DirEnum entries(dir);
    while (const char* name = entries.next()) EXPECT_TRUE(listed.insert(name).second) << name;
  }
  EXPECT_EQ(made, listed);
  std::filesystem::remove_all(dir);
}

TEST(DirEnum, whatCannotBeOpenedThrows) {
  try {
    os::DirEnum entries("/nowhere/at/all");
    FAIL();
  } catch (plat::SystemException& e) {
    EXPECT_STREQ(plat::SystemException("opendir(/nowhere/at/all)", ENOENT).message, e.message);
  }
  EXPECT_THROW(os::DirEnum(""), plat::AssertionFail);
  EXPECT_THROW(os::DirEnum(nullptr), plat::AssertionFail);
}
