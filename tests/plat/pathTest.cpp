#include "base/plat/path.h"

#include <gtest/gtest.h>

using namespace plat;

TEST(path, normaliseTable) {
  const struct {
    const char *path, *result;
    bool absolute, changed;
  } cases[] = {
      {"/", "/", true, false},
      {"//.//a/./b/.", "/a/b", true, true},
      {"/a/../b", "/b", true, true},
      {"/../../a", "/a", true, true},
      {"../../a", "../../a", false, false},
      {"a/../..", "..", false, true},
      {"a/b/../../../c", "../c", false, true},
      {"", ".", false, true},
      {"./.a/..b", ".a/..b", false, true},
  };
  for (auto& c : cases) {
    SCOPED_TRACE(c.path ? c.path : "null");
    bool absolute = !c.absolute, changed = !c.changed;
    EXPECT_STREQ(c.result, normalise(c.path, &absolute, &changed).get());
    EXPECT_EQ(c.absolute, absolute);
    EXPECT_EQ(c.changed, changed);
  }
}

TEST(path, splitTable) {
  const char* cases[][3] = {
      {"/usr/lib", "/usr", "lib"}, {"/usr/", "/", "usr"}, {"usr", ".", "usr"}, {"//", "/", "/"},
      {nullptr, ".", "."},         {"a//b//", "a", "b"},  {"//a", "/", "a"}};
  for (auto& [path, dir, base] : cases) {
    SCOPED_TRACE(path ? path : "null");
    EXPECT_STREQ(dir, dirName(path).get());
    EXPECT_STREQ(base, baseName(path).get());
  }
}
