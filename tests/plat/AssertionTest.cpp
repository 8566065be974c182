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

TEST(AssertionDeathTest, fatalFormPrintsOneLineAndAborts) {
  int small = 1;
  EXPECT_EXIT(PLAT_ASSERT_DETAIL(small > 2, "small is %d", small), testing::KilledBySignal(SIGABRT),
              "^" FAILURE "$");
}

TEST(AssertionDeathTest, failureAndBackTraceAreLogged) {
  EXPECT_EXIT(
      failWith([] {}), testing::KilledBySignal(SIGABRT),
      "^" FAILURE "0 Assertion " FAILURE
      "0 Assertion stacktrace:  1 [^\n]+\n(0 Assertion stacktrace: [ 0-9][0-9] [^\n]+\n)+$");
}

TEST(AssertionDeathTest, secondFailureAbortsAtOnce) {
  EXPECT_EXIT(failWith([] { PLAT_ASSERT(false); }), testing::KilledBySignal(SIGABRT),
              "^" FAILURE "0 Assertion " FAILURE "$");
}

TEST(AssertionDeathTest, failingLogAbortsAtOnce) {
  EXPECT_EXIT(failWith([] { throw Exception("log"); }), testing::KilledBySignal(SIGABRT),
              "^" FAILURE "0 Assertion " FAILURE "$");
}

TEST(Assertion, throwingFormNamesTheExpression) {
  int value = 3;
  PLAT_ASSERT_THROW(value == 3);
  try {
    PLAT_ASSERT_THROW(value == 4);
    FAIL();
  } catch (const AssertionFail& e) {
    EXPECT_STREQ(e.expr, "value == 4");
    EXPECT_STREQ(e.file, "tests/plat/AssertionTest.cpp");
    EXPECT_EQ(e.line, __LINE__ - 5);
  }
}

TEST(Assertion, warningIsLoggedAndReturns) {
  CapturedLog captured;
  captured.take();
  assertionWarning(AssertionFail("a", "F", 1));
  EXPECT_EQ(captured.take(),
            std::vector<std::string>{"0 Assertion Warning: Assertion 'a' failed at F:1"});
}
