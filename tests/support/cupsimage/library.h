#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <ostream>

#include "tests/support/cupsimage/standIn.h"

namespace test {

// The library that libcupsimage.so.2 stands for in a child process.
enum class CupsImage { real, standIn, withoutReadPixels };

inline const char* fileOf(CupsImage library) {
  switch (library) {
    case CupsImage::standIn:
      return QOLT_CUPSIMAGE_STAND_IN;
    case CupsImage::withoutReadPixels:
      return QOLT_CUPSIMAGE_WITHOUT_READ_PIXELS;
    default:
      return "libcupsimage.so.2";
  }
}

inline bool hasRealLibrary() {
  void* library = dlopen(fileOf(CupsImage::real), RTLD_LAZY);
  return library && dlclose(library) == 0;
}

// Also the names of tests, through testing::PrintToStringParamName.
inline void PrintTo(CupsImage library, std::ostream* out) {
  *out << (library == CupsImage::real ? "realLibrary" : "standIn");
}

// Runs the body in a child process of its own, since what is loaded stays. Its failures
// are failures of the test; where the library is not installed the test is skipped.
template <class Body>
void withCupsImage(CupsImage library, Body body) {
  constexpr int notInstalled = 77;
  fflush(nullptr);
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // By its name the loader then finds this one.
    void* handle = dlopen(fileOf(library), RTLD_NOW | RTLD_GLOBAL);
    if (!handle) _exit(library == CupsImage::real ? notInstalled : 1);
    body(static_cast<StandIn*>(dlsym(handle, "standIn")));
    fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << status;
  if (WEXITSTATUS(status) == notInstalled) GTEST_SKIP() << "libcupsimage.so.2 is not installed";
  ASSERT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace test
