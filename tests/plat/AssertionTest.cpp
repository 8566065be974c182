#include "base/plat/Assertion.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>

#include "tests/support/CapturedLog.h"

using namespace plat;

namespace {

// Writes to standard error, so that a dying process shows the order of things.
struct ShownLog : LogDest {
  explicit ShownLog(void (*onWrite)()) : LogDest("shown"), afterWrite(onWrite) {
    LogSrc::setLogSpec("*:shown:0");
  }
  void write(int level_, const char* source, const char* text) override {
    fprintf(stderr, "%d %s %s\n", level_, source, text);
    afterWrite();
  }
  void (*afterWrite)();
};

void failWith(void (*onWrite)()) {
  ShownLog shown(onWrite);
  int small = 1;
  PLAT_ASSERT_DETAIL(small > 2, "small is %d", small);
}

#define FAILURE "Assertion 'small > 2' failed at tests/plat/AssertionTest.cpp:[0-9]+: small is 1\n"

}  // namespace

TEST(AssertionDeathTest, failureAndBackTraceAreLogged) {
  EXPECT_EXIT(
      failWith([] {}), testing::KilledBySignal(SIGABRT),
      "^" FAILURE "0 Assertion " FAILURE
      "0 Assertion stacktrace:  1 [^\n]+\n(0 Assertion stacktrace: [ 0-9][0-9] [^\n]+\n)+$");
}

TEST(Assertion, warningIsLogged) {
  CapturedLog captured("Assertion:captured:0");
  assertionWarning(AssertionFail("p", "F", 95));
  EXPECT_EQ(captured.lines,
            std::vector<std::string>{"0 Assertion Warning: Assertion 'p' failed at F:95"});
}

TEST(AssertionDeathTest, secondFailureAbortsAtOnce) {
  for (auto onWrite : {+[] { PLAT_ASSERT(false); }, +[] { throw Exception("log"); }}) {
    EXPECT_EXIT(failWith(onWrite), testing::KilledBySignal(SIGABRT),
                "^" FAILURE "0 Assertion " FAILURE "$");
  }
}
