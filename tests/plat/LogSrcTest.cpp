#include "base/plat/LogSrc.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <string>
#include <thread>
#include <vector>

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
  ~LogSrcTest() override { LogDestMem::instance().clear(); }
};

// In a child that shows its log on standard error: what the process does only once.
using LogSrcDeathTest = LogSrcTest;
[[noreturn]] void showAndExit(const CapturedLog& log) {
  for (const std::string& line : log.lines) fprintf(stderr, "%s\n", line.c_str());
  _exit(0);
}

}  // namespace

// Which messages a specification lets pass is in fuzz/logSpec.cpp.
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

TEST_F(LogSrcTest, textIsEscapedBoundedAndSplit) {
  CapturedLog log;
  log.take();
  source.write(7, " plain {}");
  source.write(7, "a\tb~c\x7f");
  source.write(7, nullptr);
  errno = ENOENT;
  source.info("%s\xc3\xa9", std::string(4094, 'x').c_str());
  EXPECT_EQ(errno, ENOENT);
  source.writeLines(100, "one\n\n two\n");
  source.writeLines(100, nullptr);
  source.error("%d", 1);
  source.debug("%d", 2);
  source.debug2("%d", 3);
  EXPECT_EQ(log.take(), (Lines{"7 TestSource  plain {}", "7 TestSource a~^Ib~~c~^?",
                               "7 TestSource ", "30 TestSource " + std::string(4094, 'x'),
                               "100 TestSource one", "100 TestSource  two", "0 TestSource 1",
                               "100 TestSource 2", "110 TestSource 3"}));
}

TEST_F(LogSrcTest, memoryHolds500AndOneNoticeUntilTheyAreReplayed) {
  for (int i = 0; i < 600; i++) source.log(i % 2 ? 100 : 110, "message %d", i);
  auto replayed = [](int level) {
    CapturedLog reader("");
    LogDestMem::instance().replayTo(&reader, level);
    return reader.take();
  };
  Lines lines = replayed(INT_MAX);
  ASSERT_EQ(lines.size(), 503u);
  EXPECT_EQ(lines[500], "100 TestSource message 499");
  EXPECT_EQ(lines[501], "0 LogDestMem Too many messages, discarding further ones");
  EXPECT_EQ(replayed(99), (Lines{"99 LogDestMem Start replaying stored messages", lines[501],
                                 "99 LogDestMem Finished replaying stored messages"}));

  CapturedLog log("Test*:captured:110,*:captured:100");
  lines = log.take();
  ASSERT_EQ(lines.size(), 253u);
  EXPECT_EQ(lines[1], "100 TestSource message 1");
  LogSrc::applyLogSpec();  // what was replayed is gone
  EXPECT_EQ(log.take(), Lines{});
  EXPECT_EQ(replayed(INT_MAX).size(), 252u);
}

// Other units' static initialisation logs before a source's own has run.
TEST_F(LogSrcDeathTest, sourceLogsBeforeItIsListed) {
  auto run = [] {
    static constinit LogSrc early("Early");
    CapturedLog log;
    early.error("stored");
    LogSrc::Listed listed(early);
    LogSrc::applyLogSpec();
    early.error("attached");
    showAndExit(log);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "\n0 Early stored\n.*\n0 Early attached\n$");
  alignas(LogSrc) static char unfilled[sizeof(LogSrc)];
  EXPECT_DEATH(reinterpret_cast<LogSrc*>(unfilled)->write(0, ""), "constructed");
}

TEST_F(LogSrcDeathTest, initLoggingReplaysOnceAndFreesTheRest) {
  auto run = [] {
    source.debug("early debug");
    source.error("early error");
    CapturedLog log("*:captured:-1");  // refused: nothing is replayed yet
    log.active = false;
    LogSrc::setLogSpec("*:captured:30,Test*:captured:100");
    log.active = true;
    LogSrc::initLogging();
    log.active = false;
    source.error("kept");
    log.active = true;
    LogSrc::initLogging();
    source.debug("late debug");
    source.debug2("above the level");
    LogSrc::setLogSpec("Test*:captured:110");
    other.error("no destination");
    LogDestMem::instance().replayTo(&log, 0);
    showAndExit(log);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0),
              "^.*30 LogDestMem Start replaying stored messages\n"
              "0 TestSource early error\n"
              "30 LogDestMem Finished replaying stored messages\n"
              "100 TestSource late debug\n"
              "0 LogDestMem Start replaying stored messages\n"
              "0 TestSource kept\n"
              "0 LogDestMem Finished replaying stored messages\n$");
}

TEST_F(LogSrcDeathTest, changingTheSpecificationLosesNoMessage) {
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
