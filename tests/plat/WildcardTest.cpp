#include "base/plat/Wildcard.h"

#include <gtest/gtest.h>

#include <string>

using namespace plat;

namespace {

TEST(Wildcard, matches) {
  struct {
    const char *pattern, *text;
    bool exact, noCase;
  } rows[] = {{"ab*", "ABc", false, true},    {"a*", "a", true, true},
              {"a?", "ab", false, false},     {"a?", "a?", true, true},
              {"*", "", true, true},          {"", "", true, true},
              {"", "a", false, false},        {"a", "", false, false},
              {"**", "", true, true},         {"*c", "abc", true, true},
              {"*c", "abcd", false, false},   {"a*c*e", "abcde", true, true},
              {"*ab*ab", "abab", true, true}, {"*ab*ab", "ab", false, false},
              {"*aab", "aaab", true, true},   {"a*b", "a*b", true, true},
              {"a*", "ba", false, false}};
  for (auto& row : rows) {
    SCOPED_TRACE(std::string(row.pattern) + " " + row.text);
    EXPECT_EQ(wildcardMatch(row.pattern, row.text, true), row.exact);
    EXPECT_EQ(wildcardMatch(row.pattern, row.text, false), row.noCase);
  }
}

TEST(Wildcard, manyStarsDoNotExplode) {
  std::string pattern;
  for (int i = 0; i < 40; i++) pattern += "*a";
  std::string text(400, 'a');
  EXPECT_TRUE(wildcardMatch(pattern.c_str(), text.c_str(), true));
  EXPECT_FALSE(wildcardMatch((pattern + "b").c_str(), text.c_str(), true));
}

}  // namespace
