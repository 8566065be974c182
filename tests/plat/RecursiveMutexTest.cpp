#include "base/plat/unix/RecursiveMutex.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>

using namespace plat;

// In the environment, because mutexes are made before main.
static constexpr char refuseVariable[] = "PLAT_TEST_REFUSE_RECURSIVE_MUTEX";

// Stands before the platform's own.
extern "C" int pthread_mutexattr_settype(pthread_mutexattr_t* attributes, int type) noexcept {
  if (getenv(refuseVariable)) return EINVAL;
  static const auto real = reinterpret_cast<decltype(&pthread_mutexattr_settype)>(
      dlsym(RTLD_NEXT, "pthread_mutexattr_settype"));
  return real(attributes, type);
}

// That it keeps others out is seen by the tests of LogSrc.
TEST(RecursiveMutexDeathTest, refusedTypeWarnsOnceAndGivesOrdinaryMutexes) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fresh process
  setenv(refuseVariable, "1", 1);
  auto useTwo = [] {
    RecursiveMutex first, second;
    std::lock_guard<RecursiveMutex> firstLock(first), secondLock(second);
    _exit(0);
  };
  EXPECT_EXIT(useTwo(), testing::ExitedWithCode(0),
              "^WARNING: system libpthread has no recursive mutexes; deadlock may result\\.$");
  unsetenv(refuseVariable);
  GTEST_FLAG_SET(death_test_style, "fast");
}
