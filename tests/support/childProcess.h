#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

// For tests of what a process does to itself for good. EXPECT_EXIT and EXPECT_DEATH
// start the program afresh, so that nothing an earlier test did is remembered.
class FreshChildren : public testing::Environment {
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

inline testing::Environment* const freshChildren =
    testing::AddGlobalTestEnvironment(new FreshChildren);

// Inside the child: EXPECT_EXIT({ ...; CHILD_CHECK(...); _exit(0); }, ExitedWithCode(0), "").
#define CHILD_CHECK(condition)                                                 \
  do {                                                                         \
    if (!(condition)) {                                                        \
      fprintf(stderr, "%s:%d: %s is false\n", __FILE__, __LINE__, #condition); \
      _exit(99);                                                               \
    }                                                                          \
  } while (false)

// What an emulator says on standard error when the process in it aborts, or nothing.
#define ABORT_REMARK "(qemu: [^\n]*\n)?"

#define NEEDS_ROOT() \
  if (geteuid() != 0) GTEST_SKIP() << "needs root"
