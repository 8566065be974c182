#include "base/plat/Splitter.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

using namespace plat;

namespace {

using Tokens = std::vector<std::string>;

Tokens split(std::string text, std::function<char*(Splitter&)> next) {
  Tokens tokens;
  Splitter splitter(text.data());
  while (const char* token = next(splitter)) tokens.push_back(token);
  EXPECT_EQ(splitter.rest(), nullptr);
  EXPECT_EQ(next(splitter), nullptr);
  return tokens;
}

TEST(Splitter, emptyFieldsAreFieldsUnlessCollapsed) {
  struct {
    const char* text;
    Tokens fields, words;
  } rows[] = {{"a,b", {"a", "b"}, {"a", "b"}},
              {",a,,b,", {"", "a", "", "b", ""}, {"a", "b"}},
              {"", {""}, {}},
              {",,", {"", "", ""}, {}},
              {"abc", {"abc"}, {"abc"}}};
  for (auto& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(split(row.text, [](Splitter& s) { return s.next(','); }), row.fields);
    EXPECT_EQ(split(row.text, [](Splitter& s) { return s.next(',', true); }), row.words);
    EXPECT_EQ(split(row.text, [](Splitter& s) { return s.nextString(","); }), row.fields);
    EXPECT_EQ(split(row.text, [](Splitter& s) { return s.nextString(",", true); }), row.words);
    EXPECT_EQ(split(row.text, [](Splitter& s) { return s.nextAny(";,", nullptr, true); }),
              row.words);
  }
}

TEST(Splitter, nextAnyReportsTheSeparator) {
  char text[] = "cupsimage[2,x";
  Splitter splitter(text);
  char found = 'x';
  EXPECT_STREQ(splitter.nextAny(",[", &found), "cupsimage");
  EXPECT_EQ(found, '[');
  EXPECT_STREQ(splitter.nextAny(",[", &found), "2");
  EXPECT_EQ(found, ',');
  EXPECT_STREQ(splitter.nextAny(",[", &found), "x");
  EXPECT_EQ(found, 0);
}

TEST(Splitter, separatorStrings) {
  EXPECT_EQ(split("a: b:: c: ", [](Splitter& s) { return s.nextString(": "); }),
            (Tokens{"a", "b:", "c", ""}));
  EXPECT_EQ(split("ab", [](Splitter& s) { return s.nextString(""); }), (Tokens{"ab"}));
  EXPECT_EQ(split("ab", [](Splitter& s) { return s.next('\0'); }), (Tokens{"ab"}));
}

TEST(Splitter, lastSplitLeavesThePartBefore) {
  EXPECT_EQ(split("a/b//c", [](Splitter& s) { return s.lastSplit('/'); }),
            (Tokens{"c", "", "b", "a"}));
}

TEST(Splitter, skipsRuns) {
  char text[] = "//;/ababac";
  Splitter splitter(text);
  splitter.skipString("ab");
  splitter.skipChar('/');
  EXPECT_STREQ(splitter.rest(), ";/ababac");
  splitter.skipAny("/;");
  splitter.skipString("ab");
  EXPECT_STREQ(splitter.rest(), "ac");
  Splitter none(nullptr);
  none.skipChar('a');
  none.skipString("a");
  EXPECT_EQ(none.next(','), nullptr);
  EXPECT_EQ(none.lastSplit(','), nullptr);
}

}  // namespace
