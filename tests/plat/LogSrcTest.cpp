#include "base/plat/LogSrc.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "base/plat/Assertion.h"
#include "base/plat/Configuration.h"
#include "base/plat/LogDestMem.h"
#include "tests/support/CapturedLog.h"

using namespace plat;
using Lines = std::vector<std::string>;

namespace {

constinit LogSrc source("TestSource"), other("Other");
const LogSrc::Listed sourceListed(source), otherListed(other);

struct LogSrcTest : testing::Test {
  LogSrcTest() { LogDestMem::instance().clear(); }
};

}  // namespace

// Which messages a specification lets pass, their texts and what waits in memory are in
// fuzz/logSpec.cpp.
TEST_F(LogSrcTest, badElementsOfASpecificationAreReported) {
  CapturedLog log("");
  testing::internal::CaptureStderr();
  LogSrc::setLogSpec(
      ",bad,testS*:CAPTURED:100,a:captured,*:captured:-1,*:captured:10x,*::10,*:nowhere:5");
  const std::string failed = "Failed to parse log param element: '";
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            failed + "bad'\n" + failed + "a:captured'\n" + failed + "*:captured:-1'\n" + failed +
                "*:captured:10x'\nNo LogDest found: 'nowhere'\n");
  EXPECT_EQ(source.getLevel(), 100);
  EXPECT_EQ(other.getLevel(), -1);
}

TEST_F(LogSrcTest, parameterChangeAppliesUnlessOverridden) {
  CapturedLog log(nullptr);
  auto levelFor = [&](const char* value) {
    Configuration::global().setParam("log", value, 10);
    return source.getLevel();
  };
  EXPECT_EQ(levelFor("Test*:captured:30"), 30);
  LogSrc::setLogSpec("Test*:captured:50");
  EXPECT_EQ(levelFor("Test*:captured:40"), 50);
  LogSrc::setLogSpec(nullptr);
  EXPECT_EQ(source.getLevel(), 40);
  Configuration::global().getParam("Log")->unsetParam(10);
  EXPECT_EQ(source.getLevel(), -1);
}

TEST_F(LogSrcTest, eachLevelHasItsCall) {
  CapturedLog log("Test*:captured:110,Assertion:captured:0");
  source.error("%d", 1);
  source.info("%d", 2);
  source.debug("%d", 3);
  source.debug2("%d", 4);
  source.write(5, nullptr);
  source.writeLines(6, nullptr);
  assertionWarning(AssertionFail("p", "F", 95));
  EXPECT_EQ(log.take(),
            (Lines{"0 TestSource 1", "30 TestSource 2", "100 TestSource 3", "110 TestSource 4",
                   "5 TestSource ", "0 Assertion Warning: Assertion 'p' failed at F:95"}));
}

// In a child, as it is done once. Other units' static initialisation logs before a source's own
// has run.
TEST_F(LogSrcTest, initLoggingReplaysOnceAndFreesTheRest) {
  auto run = [] {
    static constinit LogSrc early("Early");
    early.error("before it is listed");
    source.debug("dropped");
    CapturedLog log("");  // nothing is replayed yet
    LogSrc::Listed listed(early);
    log.active = false;
    LogSrc::setLogSpec("*:captured:30,Test*:captured:100");
    log.active = true;
    LogSrc::initLogging();
    log.active = false;
    source.error("kept");
    log.active = true;
    LogSrc::initLogging();
    early.info("attached");
    source.debug2("above the level");
    LogSrc::setLogSpec("Test*:captured:110");
    other.error("no destination");
    LogDestMem::instance().replayTo(&log, 0);
    for (const std::string& line : log.lines) fprintf(stderr, "%s\n", line.c_str());
    _exit(0);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0),
              "^30 LogDestMem Start replaying stored messages\n"
              "0 Early before it is listed\n"
              "30 LogDestMem Finished replaying stored messages\n"
              "30 Early attached\n"
              "0 LogDestMem Start replaying stored messages\n"
              "0 TestSource kept\n"
              "0 LogDestMem Finished replaying stored messages\n$");
  alignas(LogSrc) static char unfilled[sizeof(LogSrc)];
  EXPECT_DEATH(reinterpret_cast<LogSrc*>(unfilled)->write(0, ""), "constructed");
}

TEST_F(LogSrcTest, changingTheSpecificationLosesNoMessage) {
  auto run = [] {
    CapturedLog log("Test*:captured:30");
    LogSrc::initLogging();
    std::atomic<int> running{2};
    auto work = [&] {
      for (int n = 0; n < 3000; n++) source.info("message");
      running--;
    };
    std::thread first(work), second(work);
    while (running) LogSrc::setLogSpec("Test*:captured:20,Test*:captured:50");
    first.join();
    second.join();
    _exit(log.lines.size() == 6000 ? 0 : 1);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}
