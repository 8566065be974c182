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

class LogSrcTest : public testing::Test {
 protected:
  LogSrcTest() { LogDestMem::instance().clear(); }
  ~LogSrcTest() override { LogDestMem::instance().clear(); }

  // What the memory destination holds.
  static Lines stored() {
    CapturedLog reader("");
    LogDestMem::instance().replayTo(&reader, INT_MAX);
    return reader.take();
  }
};

}  // namespace

TEST_F(LogSrcTest, specificationElements) {
  struct {
    const char* spec;
    int level;  // of the source afterwards
    const char* report;
  } cases[] = {
      {"testS*:CAPTURED:100", 100, ""},
      {"Other*:captured:100", -1, ""},
      {"TestSource:captured", -1, "Failed to parse log param element: 'TestSource:captured'\n"},
      {"*:captured:-1", -1, "Failed to parse log param element: '*:captured:-1'\n"},
      {"*:captured:10x", -1, "Failed to parse log param element: '*:captured:10x'\n"},
      {"*:captured:2147483648", -1, "Failed to parse log param element: '*:captured:2147483648'\n"},
      {"*:nowhere:10", -1, "No LogDest found: 'nowhere'\n"},
      {",,*:captured:5,", 5, ""},
      {"bad,*:captured:7", 7, "Failed to parse log param element: 'bad'\n"},
      {"*:captured:100,TestSource:captured:20", 20, ""},
  };
  CapturedLog log("");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.spec);
    testing::internal::CaptureStderr();
    LogSrc::setLogSpec(c.spec);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), c.report);
    EXPECT_EQ(source.getLevel(), c.level);
    log.take();
    source.log(c.level, "at");
    EXPECT_EQ(log.take().size(), c.level >= 0 ? 1u : 0u);
    source.log(c.level + 1, "above");
    EXPECT_EQ(log.take().size(), 0u);
  }
}

TEST_F(LogSrcTest, parameterChangeAppliesUnlessOverridden) {
  CapturedLog log(nullptr);
  Configuration::global().setParam("log", "Test*:captured:30", 10);
  EXPECT_EQ(source.getLevel(), 30);
  LogSrc::setLogSpec("Test*:captured:50");
  Configuration::global().setParam("log", "Test*:captured:40", 10);
  EXPECT_EQ(source.getLevel(), 50);
  LogSrc::setLogSpec(nullptr);
  EXPECT_EQ(source.getLevel(), 40);
  Configuration::global().getParam("Log")->unsetParam(10);
  EXPECT_EQ(source.getLevel(), -1);
}

TEST_F(LogSrcTest, textIsEscapedBoundedAndSplit) {
  CapturedLog log;
  log.take();
  source.write(7, "plain {}");
  source.write(7, "a\tb~c");
  errno = ENOENT;
  source.info("%s\xc3\xa9", std::string(4094, 'x').c_str());
  EXPECT_EQ(errno, ENOENT);
  source.writeLines(100, "one\n\n two\n");
  source.writeLines(100, nullptr);
  EXPECT_EQ(log.take(), (Lines{"7 TestSource plain {}", "7 TestSource a~^Ib~~c",
                               "30 TestSource " + std::string(4094, 'x'), "100 TestSource one",
                               "100 TestSource  two"}));
}

TEST_F(LogSrcTest, memoryHolds500AndOneNotice) {
  for (int i = 0; i < 600; i++) source.log(i % 2 ? 100 : 110, "message %d", i);
  Lines lines = stored();
  ASSERT_EQ(lines.size(), 503u);
  EXPECT_EQ(lines[500], "100 TestSource message 499");
  EXPECT_EQ(lines[501], "0 LogDestMem Too many messages, discarding further ones");

  CapturedLog log("Test*:captured:110,*:captured:100");
  lines = log.take();
  ASSERT_EQ(lines.size(), 253u);
  EXPECT_EQ(lines[1], "100 TestSource message 1");
  LogSrc::applyLogSpec();  // what was replayed is gone
  EXPECT_EQ(log.take(), Lines{});
  EXPECT_EQ(stored().size(), 252u);
}

// Other units' static initialisation logs before a source's own has run.
TEST(LogSrcDeathTest, sourceLogsBeforeItIsListed) {
  auto run = [] {
    static constinit LogSrc early("Early");
    LogDestMem::instance().clear();
    CapturedLog log;
    early.error("stored");
    LogSrc::Listed listed(early);
    LogSrc::applyLogSpec();
    early.error("attached");
    for (const std::string& line : log.lines) fprintf(stderr, "%s\n", line.c_str());
    _exit(0);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "\n0 Early stored\n.*\n0 Early attached\n$");

  alignas(LogSrc) static char unfilled[sizeof(LogSrc)];
  EXPECT_DEATH(reinterpret_cast<LogSrc*>(unfilled)->write(0, ""), "constructed");
}

TEST(LogSrcDeathTest, initLoggingReplaysOnceAndFreesTheRest) {
  auto run = [] {
    LogDestMem::instance().clear();
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
    for (const std::string& line : log.lines) fprintf(stderr, "%s\n", line.c_str());
    _exit(0);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0),
              "30 LogDestMem Start replaying stored messages\n"
              "0 TestSource early error\n"
              "30 LogDestMem Finished replaying stored messages\n"
              "100 TestSource late debug\n"
              "0 LogDestMem Start replaying stored messages\n"
              "0 TestSource kept\n"
              "0 LogDestMem Finished replaying stored messages\n$");
}

TEST(LogSrcDeathTest, changingTheSpecificationLosesNoMessage) {
  auto run = [] {
    CapturedLog log("Test*:captured:30");
    LogSrc::initLogging();
    std::vector<std::thread> threads;
    std::atomic<int> running{2};
    for (int i = 0; i < 2; i++) {
      threads.emplace_back([&] {
        for (int n = 0; n < 3000; n++) source.info("message");
        running--;
      });
    }
    while (running) LogSrc::setLogSpec("Test*:captured:20,Test*:captured:50");
    for (std::thread& thread : threads) thread.join();
    fprintf(stderr, "%zu\n", log.lines.size());
    _exit(0);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "^6000\n$");
}
