#include "base/plat/unix/RecursiveMutex.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

using namespace plat;

namespace {

// In the environment, because mutexes are made before main.
constexpr char refuseVariable[] = "PLAT_TEST_REFUSE_RECURSIVE_MUTEX";

}  // namespace

// Stands before the platform's own.
extern "C" int pthread_mutexattr_settype(pthread_mutexattr_t* attributes, int type) noexcept {
  if (getenv(refuseVariable)) return EINVAL;
  using SetType = int (*)(pthread_mutexattr_t*, int);
  static auto real = reinterpret_cast<SetType>(dlsym(RTLD_NEXT, "pthread_mutexattr_settype"));
  return real(attributes, type);
}

TEST(RecursiveMutex, ownerLocksAgainAndOthersWait) {
  RecursiveMutex mutex;
  int count = 0;
  auto work = [&] {
    for (int i = 0; i < 5000; i++) {
      std::lock_guard<RecursiveMutex> outer(mutex);
      int before = count;
      { std::lock_guard<RecursiveMutex> inner(mutex); }
      count = before + 1;
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; i++) threads.emplace_back(work);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, 20000);
}

TEST(RecursiveMutexDeathTest, refusedTypeWarnsOnceAndGivesOrdinaryMutexes) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fresh process
  setenv(refuseVariable, "1", 1);
  auto useTwo = [] {
    RecursiveMutex first, second;
    std::scoped_lock lock(first);
    std::lock_guard<RecursiveMutex> secondLock(second);
    _exit(0);
  };
  EXPECT_EXIT(useTwo(), testing::ExitedWithCode(0),
              "^WARNING: system libpthread has no recursive mutexes; deadlock may result\\.$");
  unsetenv(refuseVariable);
  GTEST_FLAG_SET(death_test_style, "fast");
}
