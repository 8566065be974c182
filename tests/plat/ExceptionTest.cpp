#include "base/plat/Exception.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <string>

#include "base/plat/Assertion.h"
#include "base/plat/Configuration.h"
#include "tests/support/CapturedLog.h"

using namespace plat;

TEST(Exception, messageIsCutAtCharacterBoundary) {
  for (std::string character : {"a", "\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80"}) {
    for (size_t start = 250; start <= 256; start++) {
      SCOPED_TRACE(character + " at " + std::to_string(start));
      const std::string text = std::string(start, 'x') + character + "tail that does not fit";
      const size_t kept = start < 255 && start + character.size() > 255 ? start : 255;
      EXPECT_EQ(Exception(text.c_str()).message, text.substr(0, kept));
      EXPECT_EQ(ExceptionFmt("%s", text.c_str()).message, text.substr(0, kept));
    }
  }
}

TEST(Exception, eachKindHasItsNameAndMessage) {
  errno = ENOENT;
  const std::string fits(230, 'x'), tooLong(231, 'x');
  const std::pair<Exception, std::string> cases[] = {
      {StdlibException("open(%s)", "a"), "System-2: open(a): No such file or directory (2)"},
      {SystemException("", 0), "System-0: Success (0)"},
      {SystemExceptionFmt("%d", 99999, 7), "System-99999: 7: Unknown error (99999)"},
      {SystemException(fits.c_str(), 4), "System-4: " + fits + ": Interrupted system call"},
      {SystemException(tooLong.c_str(), 4), "System-4: " + tooLong + ": Unknown error (4)"},
      {AssertionFail("p", "F", 95).appendDetail("%s", "x"),
       "AssertionFail: Assertion 'p' failed at F:95: x"},
      {AssertionFail(nullptr, nullptr, 0), "AssertionFail: Assertion '' failed at :0"},
      {BadNum("b"), ": b"},
      {BadUtf8("%d"), ": %d"},
      {BadUtf8("%d", 7), ": 7"},
      {TimedOut(nullptr), "TimedOut: "}};
  for (const auto& [e, expected] : cases) {
    EXPECT_EQ(std::string(e.name) + ": " + e.message, expected);
  }
}

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

#define FAILURE "Assertion 'small > 2' failed at tests/plat/ExceptionTest.cpp:[0-9]+: small is 1\n"
#define TRACE "0 Assertion stacktrace: "

}  // namespace

TEST(AssertionDeathTest, failureIsLoggedWithABackTraceBeforeTheHookRuns) {
  const struct {
    void (*onWrite)();
    const char* more;
  } cases[] = {{[] {}, TRACE " 1 [^\n]+\n(" TRACE "[ 0-9][0-9] [^\n]+\n)+hook\n"},
               {[] { PLAT_ASSERT(false); }, ""},  // the second failure aborts at once
               {[] { throw Exception("log"); }, ""}};
  for (const auto& c : cases) {
    auto fail = [&] {
      ShownLog shown(c.onWrite);
      setAssertionHook([] { fputs("hook\n", stderr); });
      int small = 1;
      PLAT_ASSERT_DETAIL(small > 2, "small is %d", small);
    };
    const std::string expected = std::string("^" FAILURE "0 Assertion " FAILURE) + c.more + "$";
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

TEST(Assertion, warningIsLogged) {
  CapturedLog captured("Assertion:captured:0");
  assertionWarning(AssertionFail("p", "F", 95));
  EXPECT_EQ(captured.lines,
            std::vector<std::string>{"0 Assertion Warning: Assertion 'p' failed at F:95"});
}
