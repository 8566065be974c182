#include "base/plat/String.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

using namespace plat;

namespace {

TEST(String, copyIsBoundedAndReportsTheSourceLength) {
  for (int size = 0; size <= 6; size++) {
    SCOPED_TRACE(size);
    char buffer[8];
    memset(buffer, '#', sizeof(buffer));
    EXPECT_EQ(strCopy(buffer, "abcd", size), 4);
    if (size > 0) {
      EXPECT_EQ(buffer, std::string("abcd").substr(0, size - 1));
    }
    EXPECT_EQ(buffer[size < 5 ? size : 5], '#');
  }
}

TEST(String, prefixesAndSuffixes) {
  struct {
    const char *text, *part;
    bool starts, startsNoCase, ends, endsNoCase;
  } rows[] = {
      {"qolt:/", "qolt", true, true, false, false}, {"qolt", "QOLT", false, true, false, true},
      {"qo", "qolt", false, false, false, false},   {"a.ini", ".ini", false, false, true, true},
      {"ini", ".ini", false, false, false, false},  {"a", nullptr, true, true, true, true},
      {nullptr, nullptr, true, true, true, true},   {nullptr, "", true, true, true, true},
      {nullptr, "a", false, false, false, false}};
  for (auto& row : rows) {
    SCOPED_TRACE(std::string(row.text ? row.text : "null") + " " + (row.part ? row.part : "null"));
    EXPECT_EQ(startsWith(row.text, row.part), row.starts);
    EXPECT_EQ(startsWithNoCase(row.text, row.part), row.startsNoCase);
    EXPECT_EQ(endsWith(row.text, row.part), row.ends);
    EXPECT_EQ(endsWithNoCase(row.text, row.part), row.endsNoCase);
  }
}

TEST(StringSet, keepsEveryItemOfTheListOnceInByteOrder) {
  StringSet set("b,,a,b,", ',');
  EXPECT_TRUE(set.insert(nullptr));
  EXPECT_FALSE(set.insert("a"));
  std::string items;
  for (const String& item : set) items += std::string(item.isNull() ? "null" : item.get()) + ";";
  EXPECT_EQ(items, "null;;a;b;");
}

}  // namespace
