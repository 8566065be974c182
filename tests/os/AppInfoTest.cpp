#include "base/os/AppInfo.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/childProcess.h"

using os::AppInfo;

TEST(AppInfo, unsetTextsAreEmptyOrAFailedAssertion) {
  struct Row {
    const char* name;
    const char* (*get)(bool emptyIfUnset);
  };
  for (const Row& row : {Row{"app", AppInfo::getApp}, Row{"group", AppInfo::getGroup},
                         Row{"company", AppInfo::getCompany}, Row{"pathComp", AppInfo::getPathComp},
                         Row{"app", AppInfo::getDisplayName}, Row{"detail", AppInfo::getDetail}}) {
    SCOPED_TRACE(row.name);
    EXPECT_EXIT(_exit(*row.get(true) ? 1 : 0), testing::ExitedWithCode(0), "");
    EXPECT_DEATH(row.get(false),
                 std::string("Assertion 'emptyIfUnset \\|\\| ") + row.name + "' failed");
  }
}

TEST(AppInfo, nullAppAndGroupAreRefused) {
  EXPECT_DEATH(AppInfo::set(nullptr, "company", "path"), "Assertion 'app' failed");
  EXPECT_DEATH(AppInfo::setApp(nullptr), "Assertion 'app' failed");
  EXPECT_DEATH(AppInfo::setGroup(nullptr), "Assertion 'group' failed");
}

TEST(AppInfo, textsAreCopiedAndEqualOnesLeftAlone) {
  std::string app = "print";
  AppInfo::set(app.c_str(), "Quenfor", "qolt");
  app = "other";
  EXPECT_STREQ(AppInfo::getApp(false), "print");
  EXPECT_STREQ(AppInfo::getDisplayName(false), "print");

  const char* held = AppInfo::getPathComp(false);
  AppInfo::set(AppInfo::getApp(false), AppInfo::getCompany(false), "qolt", "Printer");
  EXPECT_EQ(AppInfo::getPathComp(false), held);
  EXPECT_STREQ(AppInfo::getApp(false), "print");
  EXPECT_STREQ(AppInfo::getCompany(false), "Quenfor");
  EXPECT_STREQ(AppInfo::getDisplayName(false), "Printer");
}
