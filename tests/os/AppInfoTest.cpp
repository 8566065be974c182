#include "base/os/AppInfo.h"

#include <gtest/gtest.h>

using os::AppInfo;

TEST(AppInfo, everyTextHasItsGetterAndNoneIsReadUnset) {
  AppInfo::set("app", "company", "pathComp", "displayName", "detail");
  AppInfo::setGroup("group");
  struct {
    const char* (*get)(bool);
    const char* text;
  } const table[] = {{AppInfo::getApp, "app"},         {AppInfo::getGroup, "group"},
                     {AppInfo::getCompany, "company"}, {AppInfo::getPathComp, "pathComp"},
                     {AppInfo::getDetail, "detail"},   {AppInfo::getDisplayName, "displayName"}};
  for (const auto& row : table) EXPECT_STREQ(row.get(false), row.text);

  AppInfo::set("app", nullptr, nullptr);
  EXPECT_STREQ(AppInfo::getDisplayName(false), "app");
  EXPECT_STREQ(AppInfo::getCompany(true), "");
  EXPECT_DEATH(AppInfo::getCompany(false), "emptyIfUnset \\|\\| company");
}
