#include "base/plat/String.h"

#include <gtest/gtest.h>

#include <climits>

using namespace plat;

namespace {

TEST(String, nullIsLessThanEveryText) {
  const char* const ascending[] = {nullptr, "", "a", "b"};
  const auto sign = [](int order) { return (order > 0) - (order < 0); };
  for (int i = 0; i < 4; i++) {
    for (int j = 0; j < 4; j++) {
      EXPECT_EQ(sign(strCompare(ascending[i], ascending[j])), sign(i - j)) << i << j;
      EXPECT_EQ(sign(strCompareNoCase(ascending[i], ascending[j])), sign(i - j)) << i << j;
    }
  }
}

TEST(String, nullStartsAndEndsEveryTextAndWithAnEmptyOne) {
  for (auto* matches : {startsWith, startsWithNoCase, endsWith, endsWithNoCase}) {
    EXPECT_TRUE(matches("a", nullptr) && matches(nullptr, nullptr) && matches(nullptr, ""));
    EXPECT_FALSE(matches(nullptr, "a"));
  }
}

TEST(String, nullStaysNull) {
  String null, text("abc");
  trimLeft(null.data());
  trimRight(null.data());
  toUpper(null);
  toLower(null);
  insertSeparator(null, ",", 1);
  EXPECT_TRUE(null.isNull() && String(null).isNull() && strDup(nullptr, 3).isNull());
  EXPECT_FALSE(contains(nullptr, nullptr, 'a'));
  EXPECT_EQ(strNLen(nullptr, 3) + StringSet(nullptr, ',').size(), 0);
  insertSeparator(text, nullptr, 1);
  insertSeparator(text, ",", INT_MAX);
  EXPECT_STREQ(text.get(), "abc");
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
  EXPECT_EQ(strHash("foobar"), 0x85944171f73967e8u);
  EXPECT_EQ(strHash("\xff"), 0xaf64724c8602eb6eu);
}

TEST(String, setsAndListsKeepOneNull) {
  StringSet set("b", ',');
  EXPECT_TRUE(!set.contains(nullptr) && set.insert(nullptr) && !set.insert(nullptr));
  EXPECT_TRUE(set.begin()->isNull());
  std::vector<String> list(1);
  addUnique(list, nullptr);
  addUnique(list, "");
  EXPECT_EQ(list.size(), 2u);
}

}  // namespace
