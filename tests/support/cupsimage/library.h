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
enum class CupsImage { real, standIn };

// Also the names of tests, through testing::PrintToStringParamName.
inline void PrintTo(CupsImage library, std::ostream* out) {
  *out << (library == CupsImage::real ? "realLibrary" : "standIn");
}

// Runs the body in a child process of its own, since what is loaded stays; its argument is null
// for the real library. Its failures are failures of the test, and so is a handle of the stand-in
// that it leaves open or closes twice; where the library is not installed the test is skipped.
template <class Body>
void withCupsImage(CupsImage library, Body body) {
  constexpr int notInstalled = 77;
  fflush(nullptr);
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // By its name the loader then finds this one.
    const bool isReal = library == CupsImage::real;
    void* handle =
        dlopen(isReal ? "libcupsimage.so.2" : QOLT_CUPSIMAGE_STAND_IN, RTLD_NOW | RTLD_GLOBAL);
    if (!handle) _exit(isReal ? notInstalled : 1);
    auto* standIn = static_cast<StandIn*>(dlsym(handle, "standIn"));
    body(standIn);
    EXPECT_TRUE(!standIn || standIn->opened == standIn->closed);
    fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << status;
  if (WEXITSTATUS(status) == notInstalled) GTEST_SKIP() << "libcupsimage.so.2 is not installed";
  ASSERT_EQ(WEXITSTATUS(status), 0);
}

// Tests that run with either: INSTANTIATE_CUPS_IMAGES(group) defines their group.
class WithCupsImage : public testing::TestWithParam<CupsImage> {
 protected:
  template <class Body>
  void with(Body body) {
    withCupsImage(GetParam(), body);
  }
};

#define INSTANTIATE_CUPS_IMAGES(group)                                                       \
  using group = test::WithCupsImage;                                                         \
  INSTANTIATE_TEST_SUITE_P(With, group,                                                      \
                           testing::Values(test::CupsImage::standIn, test::CupsImage::real), \
                           testing::PrintToStringParamName())

}  // namespace test
