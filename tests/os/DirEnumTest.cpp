#include "base/os/unix/DirEnum.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "base/plat/Exception.h"
#include "tests/support/ScratchFolder.h"

TEST(DirEnum, listsEveryEntryButTheDirectoriesThemselves) {
  test::ScratchFolder folder;
  std::set<std::string> made{".hidden", "..twoDots", "plain"}, listed;
  for (const std::string& name : made) test::writeFile(folder / name, "");
  {
    os::DirEnum entries(folder.path().c_str());
    while (const char* name = entries.next()) EXPECT_TRUE(listed.insert(name).second) << name;
  }
  EXPECT_EQ(made, listed);
  EXPECT_THROW(os::DirEnum((folder / "missing").c_str()), plat::SystemException);
}
