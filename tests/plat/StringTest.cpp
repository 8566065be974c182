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
  char buffer[2] = "x";
  EXPECT_EQ(strCopy(buffer, nullptr, 2), 0);
  EXPECT_STREQ(buffer, "");
}

TEST(String, lengthsStopAtTheMaximumAndAtTheNul) {
  const char unterminated[] = {'a', 'b', 'c'};
  EXPECT_EQ(strNLen(unterminated, 3), 3);
  EXPECT_EQ(strNLen("abc", 9), 3);
  EXPECT_EQ(strNLen("abc", 0), 0);
  EXPECT_EQ(strNLen("abc", -1), 3);
  EXPECT_EQ(strNLen(nullptr, 4), 0);
  EXPECT_EQ(strLen(nullptr), 0);
  EXPECT_STREQ(strDup(unterminated, 3).get(), "abc");
  EXPECT_STREQ(strDup("abc", 0).get(), "");
  EXPECT_STREQ(strDup("abc", 9).get(), "abc");
  EXPECT_EQ(strDup(nullptr).get(), nullptr);
}

TEST(String, selfAssignmentAndOverlappingSetKeepTheText) {
  String text("hello world");
  text = *&text;
  text.set(text.get() + 6);
  EXPECT_STREQ(text.get(), "world");
  String taken(std::move(text));
  EXPECT_TRUE(text.isNull());
  EXPECT_TRUE(taken == "world");
  EXPECT_FALSE(String("") == nullptr);
  EXPECT_TRUE(String() == nullptr);
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

TEST(String, containsStopsAtTheEndOrTheNul) {
  const char text[] = "ab\0c";
  EXPECT_TRUE(contains(text, text + 2, 'b'));
  EXPECT_FALSE(contains(text, text + 1, 'b'));
  EXPECT_FALSE(contains(text, text + 4, 'c'));
  EXPECT_TRUE(contains(text, nullptr, 'b'));
  EXPECT_FALSE(contains(text, nullptr, '\0'));
}

TEST(String, trimsOnlyTheFourBlanks) {
  char text[] = " \t\r\n\v a \n\r\t ";
  trimRight(text);
  trimLeft(text);
  EXPECT_STREQ(text, "\v a");
}

TEST(String, separatorsBetweenGroups) {
  struct {
    const char* text;
    int group;
    const char* expected;
  } rows[] = {{"abcdef", 2, "ab, cd, ef"}, {"abcde", 3, "abc, de"}, {"abc", 3, "abc"},
              {"abc", 0, "abc"},           {"abc", 1, "a, b, c"},   {"", 1, ""}};
  for (auto& row : rows) {
    String text(row.text);
    insertSeparator(text, ", ", row.group);
    EXPECT_STREQ(text.get(), row.expected);
  }
}

TEST(String, hashIsFnv1a) {
  // Published test vectors of 64-bit FNV-1a.
  EXPECT_EQ(strHash(""), 0xcbf29ce484222325u);
  EXPECT_EQ(strHash("a"), 0xaf63dc4c8601ec8cu);
  EXPECT_EQ(strHash("foobar"), 0x85944171f73967e8u);
}

TEST(String, addUniqueTellsNullFromEmpty) {
  std::vector<String> list;
  for (const char* text : {"de", (const char*)nullptr, "", "de", (const char*)nullptr, ""}) {
    addUnique(list, text);
  }
  ASSERT_EQ(list.size(), 3u);
  EXPECT_TRUE(list[1].isNull());
  EXPECT_STREQ(list[2].get(), "");
}

TEST(StringSet, keepsEveryItemOfTheListOnceInByteOrder) {
  StringSet set("b,,a,b,", ',');
  set.insert(nullptr);
  std::vector<std::string> items;
  for (const String& item : set) items.push_back(item.isNull() ? "null" : item.get());
  EXPECT_EQ(items, (std::vector<std::string>{"null", "", "a", "b"}));
  EXPECT_FALSE(set.insert("a"));
  EXPECT_TRUE(set.erase("a"));
  EXPECT_FALSE(set.erase("a"));
  EXPECT_FALSE(set.contains("a"));
  EXPECT_EQ(StringSet(nullptr, ',').size(), 0);
}

}  // namespace
