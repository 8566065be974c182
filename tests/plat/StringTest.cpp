#include "base/plat/String.h"

#include <gtest/gtest.h>

#include <climits>
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

TEST(String, changesInPlace) {
  struct {
    void (*change)(String&);
    const char *given, *expected;
  } rows[] = {{[](String& t) { trimLeft(t.data()); }, " \t\r\na b ", "a b "},
              {[](String& t) { trimRight(t.data()); }, " a b\v \t\r\n", " a b\v"},
              {[](String& t) { trimRight(t.data()); }, " \n", ""},
              {toUpper, "aZ1\xe4", "AZ1\xe4"},
              {toLower, "aZ1", "az1"},
              {[](String& t) { insertSeparator(t, ", ", 3); }, "abcdefg", "abc, def, g"},
              {[](String& t) { insertSeparator(t, ",", 3); }, "abc", "abc"},
              {[](String& t) { insertSeparator(t, nullptr, 1); }, "abc", "abc"},
              {[](String& t) { insertSeparator(t, ",", 0); }, "abc", "abc"},
              {[](String& t) { insertSeparator(t, ",", INT_MAX); }, "abc", "abc"}};
  for (auto& row : rows) {
    String text(row.given), null;
    row.change(text);
    row.change(null);
    EXPECT_STREQ(text.get(), row.expected);
    EXPECT_TRUE(null.isNull());
  }
}

TEST(String, setLeavesAnEqualTextInItsPlace) {
  String text("abc");
  const char* const held = text.get();
  text.set("abcd", 3);
  EXPECT_EQ(text.get(), held);
  text.set(text.get() + 1);
  EXPECT_STREQ(text.get(), "bc");
  text.set(nullptr);
  EXPECT_TRUE(text.isNull());
}

TEST(String, hashIsFnv1a) {
  EXPECT_EQ(strHash(nullptr), 0xcbf29ce484222325u);
  EXPECT_EQ(strHash("a"), 0xaf63dc4c8601ec8cu);
  EXPECT_EQ(strHash("foobar"), 0x85944171f73967e8u);
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
