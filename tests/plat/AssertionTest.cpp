#include "base/plat/Assertion.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "base/plat/Configuration.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/childProcess.h"

using namespace plat;

namespace {

// Writes to standard error, so that a dying process shows the order of things.
struct ShownLog : CapturedLog {
  explicit ShownLog(void (*onWrite)()) : CapturedLog("*:captured:0"), afterWrite(onWrite) {}
  void write(int messageLevel, const char* source, const char* text) override {
    fprintf(stderr, "%d %s %s\n", messageLevel, source, text);
    afterWrite();
  }
  void (*afterWrite)();
};

#define FAILURE "Assertion 'small > 2' failed at tests/plat/AssertionTest.cpp:[0-9]+: small is 1\n"
#define TRACE "0 Assertion stacktrace: "

}  // namespace

TEST(AssertionDeathTest, failureIsLoggedWithABackTraceBeforeTheHookRuns) {
  const std::pair<void (*)(), const char*> cases[] = {
      {[] {}, TRACE " 1 [^\n]+\n(" TRACE "[ 0-9][0-9] [^\n]+\n)+hook\n"},
      {[] { PLAT_ASSERT(false); }, ""},  // the second failure aborts at once
      {[] { throw Exception("log"); }, ""}};
  for (const auto& [onWrite, more] : cases) {
    auto fail = [onWrite = onWrite] {
      ShownLog shown(onWrite);
      setAssertionHook([] { fputs("hook\n", stderr); });
      int small = 1;
      PLAT_ASSERT_DETAIL(small > 2, "small is %d", small);
    };
    const std::string expected =
        std::string("^" FAILURE "0 Assertion " FAILURE) + more + ABORT_REMARK "$";
    EXPECT_EXIT(fail(), testing::KilledBySignal(SIGABRT), expected);
  }
}

TEST(AssertionDeathTest, badUtf8IsAnAssertionWhereThatIsWanted) {
  auto& wanted = *Configuration::global().getBoolParam("_BadUtf8Assert");
  wanted.setValue(true, 10);
  EXPECT_DEATH(BadUtf8("b"), "^Assertion '0' failed at base/plat/Exception.cpp:[0-9]+: b\n");
  EXPECT_DEATH(BadUtf8("b%d", 7), ": b7\n");
  wanted.unsetParam(10);
}
