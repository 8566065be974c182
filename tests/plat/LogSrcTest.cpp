#include "base/plat/LogSrc.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "base/plat/Configuration.h"
#include "base/plat/Exception.h"
#include "base/plat/LogDestMem.h"
#include "tests/support/CapturedLog.h"

using namespace plat;
using Lines = std::vector<std::string>;

namespace {

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

  LogSrc source{"TestSource"};
};

std::string listed(const std::function<void(FILE*)>& list) {
  char* text = nullptr;
  size_t size = 0;
  FILE* stream = open_memstream(&text, &size);
  list(stream);
  fclose(stream);
  return String::adopt(text).get();
}

// Static objects of other units do so at start-up and at exit.
__attribute__((noinline, no_sanitize("vptr"))) void writeOutsideOfLifetime(LogSrc* source) {
  source->write(0, "text");
}

// For a child process: the configuration cannot be undone.
[[noreturn]] void exitShowing(CapturedLog& log) {
  for (const std::string& line : log.lines) fprintf(stderr, "%s\n", line.c_str());
  _exit(0);
}

// Made before every other static object of the program and destroyed after them.
struct FirstAndLast {
  FirstAndLast() { use(); }
  ~FirstAndLast() { use(); }
  static void use() {
    // With ordinary mutexes a change of the specification waits for itself.
    if (getenv("PLAT_TEST_REFUSE_RECURSIVE_MUTEX")) return;
    LogSrc source("FirstAndLast");
    source.error("a message");
    BoolParameter flag("_FirstAndLast", "d", false);
    flag.setParam("on", 10);
    if (strcmp(BadUtf8("a message").message, "a message") != 0) abort();
    CapturedLog log;
    source.error("another");
    if (log.take().empty()) abort();
  }
};
FirstAndLast firstAndLast __attribute__((init_priority(101)));

}  // namespace

TEST_F(LogSrcTest, specificationElements) {
  struct {
    const char* spec;
    int level;  // of the source afterwards
    const char* report;
  } cases[] = {
      {"*:captured:30", 30, ""},
      {"testS*:CAPTURED:100", 100, ""},
      {"Other*:captured:100", -1, ""},
      {"TestSource:captured", -1, "Failed to parse log param element: 'TestSource:captured'\n"},
      {"TestSource", -1, "Failed to parse log param element: 'TestSource'\n"},
      {"*:captured:", -1, "Failed to parse log param element: '*:captured:'\n"},
      {"*:captured:-1", -1, "Failed to parse log param element: '*:captured:-1'\n"},
      {"*:captured:10x", -1, "Failed to parse log param element: '*:captured:10x'\n"},
      {"*:captured:10:1", -1, "Failed to parse log param element: '*:captured:10:1'\n"},
      {"*:captured:2147483648", -1, "Failed to parse log param element: '*:captured:2147483648'\n"},
      {"*:nowhere:10", -1, "No LogDest found: 'nowhere'\n"},
      {"*::10", -1, ""},
      {"*::x", -1, "Failed to parse log param element: '*::x'\n"},
      {":captured:10", -1, ""},
      {"", -1, ""},
      {",,*:captured:5,", 5, ""},
      {"bad,*:captured:7", 7, "Failed to parse log param element: 'bad'\n"},
      {"*:captured:100,TestSource:captured:20", 20, ""},
      {"*:captured:0", 0, ""},
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

TEST_F(LogSrcTest, levelIsBoundedByTheDestination) {
  CapturedLog log("*:captured:100");
  log.setLevel(20);
  LogSrc::updateAllLevels();
  EXPECT_EQ(source.getLevel(), 20);
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

TEST_F(LogSrcTest, untakenMessagesGoToMemory) {
  {
    CapturedLog log("TestSource:captured:30");
    source.write(31, "above the limit");
    log.active = false;
    source.write(0, "inactive");
    EXPECT_EQ(log.take(), Lines{});
  }
  source.write(5, "destination gone");
  EXPECT_EQ(stored(), (Lines{"2147483647 LogDestMem Start replaying stored messages",
                             "31 TestSource above the limit", "0 TestSource inactive",
                             "5 TestSource destination gone",
                             "2147483647 LogDestMem Finished replaying stored messages"}));
}

TEST_F(LogSrcTest, memoryHolds500AndOneNotice) {
  for (int i = 0; i < 600; i++) source.log(i % 2 ? 100 : 110, "message %d", i);
  Lines lines = stored();
  ASSERT_EQ(lines.size(), 503u);
  EXPECT_EQ(lines[1], "110 TestSource message 0");
  EXPECT_EQ(lines[500], "100 TestSource message 499");
  EXPECT_EQ(lines[501], "0 LogDestMem Too many messages, discarding further ones");

  CapturedLog log("Test*:captured:110,*:captured:100");
  lines = log.take();
  ASSERT_EQ(lines.size(), 253u);
  EXPECT_EQ(lines[0], "100 LogDestMem Start replaying stored messages");
  EXPECT_EQ(lines[1], "100 TestSource message 1");
  EXPECT_EQ(lines[252], "100 LogDestMem Finished replaying stored messages");
  LogSrc::applyLogSpec();  // what was replayed is gone
  EXPECT_EQ(log.take(), Lines{});
  EXPECT_EQ(stored().size(), 252u);
}

TEST_F(LogSrcTest, replayNeedsTheWholeWildcardAndAnActiveDestination) {
  source.info("early");
  CapturedLog log("T*:captured:100");
  log.active = false;
  LogSrc::setLogSpec("*:captured:100");
  EXPECT_EQ(log.take(), Lines{});
  log.active = true;
  LogSrc::applyLogSpec();
  EXPECT_EQ(log.take().size(), 3u);
}

TEST_F(LogSrcTest, messagesDuringReplayAreDropped) {
  struct Chatty : LogDest {
    explicit Chatty(LogSrc& source_) : LogDest(nullptr), chatSource(source_) {}
    void write(int, const char*, const char*) override { chatSource.info("again"); }
    LogSrc& chatSource;
  } chatty(source);
  source.info("once");
  LogDestMem::instance().replayTo(&chatty, 100);
  EXPECT_EQ(stored().size(), 3u);
}

TEST(LogSrcDeathTest, initLoggingReplaysOnceAndFreesTheRest) {
  auto run = [] {
    LogDestMem::instance().clear();
    LogSrc source("TestSource"), other("Other");
    source.debug("early debug");
    source.error("early error");
    CapturedLog log("*:captured:-1");  // refused: nothing is replayed yet
    log.active = false;
    LogSrc::setLogSpec("*:captured:30,Test*:captured:100");
    log.active = true;
    LogSrc::initLogging();
    LogSrc::initLogging();
    source.debug("late debug");
    source.debug2("above the level");
    LogSrc::setLogSpec("Test*:captured:110");
    other.error("no destination");
    LogDestMem::instance().replayTo(&log, INT_MAX);
    exitShowing(log);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0),
              "^Failed to parse log param element: '\\*:captured:-1'\n"
              "30 LogDestMem Start replaying stored messages\n"
              "0 TestSource early error\n"
              "30 LogDestMem Finished replaying stored messages\n"
              "100 TestSource late debug\n$");
}

TEST(LogSrcDeathTest, logsAndParametersWorkOutsideOfMain) {
  EXPECT_EXIT(exit(0), testing::ExitedWithCode(0), "^$");
}

TEST(LogSrcDeathTest, changingTheSpecificationLosesNoMessage) {
  auto run = [] {
    LogSrc source("TestSource");
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

TEST_F(LogSrcTest, destroyedSourceDropsMessages) {
  alignas(LogSrc) static unsigned char room[sizeof(LogSrc)];
  auto* gone = new (room) LogSrc("Gone");
  CapturedLog log;
  log.take();
  gone->~LogSrc();
  writeOutsideOfLifetime(gone);
  EXPECT_EQ(log.take(), Lines{});
}

TEST(LogSrcDeathTest, writingBeforeConstructionIsFatal) {
  alignas(LogSrc) static unsigned char room[sizeof(LogSrc)];
  // The sanitizer finds the missing object before the source does.
  EXPECT_DEATH(writeOutsideOfLifetime(reinterpret_cast<LogSrc*>(room)),
               "^Assertion 'constructed' failed at [^\n]+\n$|not point to an object");
}

TEST_F(LogSrcTest, namesAreListedWithinTheWidth) {
  LogSrc second("SecondTest"), third("Third");
  // "  Third, SecondTest" is 19 columns, with "TestSource" behind it 31.
  auto names = [](int width) {
    return listed([=](FILE* stream) { LogSrc::listLogNames(width, stream); });
  };
  EXPECT_EQ(names(20).rfind("  Third,\n  SecondTest,\n  TestSource", 0), 0u);
  EXPECT_EQ(names(21).rfind("  Third, SecondTest,\n  TestSource", 0), 0u);
  EXPECT_EQ(names(32).rfind("  Third, SecondTest,\n  TestSource", 0), 0u);
  EXPECT_EQ(names(33).rfind("  Third, SecondTest, TestSource", 0), 0u);
  std::string all = names(100000);
  EXPECT_EQ(all.find('\n'), all.size() - 1);
}

TEST(LogDest, namedDestinationsAreListedNewestFirst) {
  struct Quiet : LogDest {
    using LogDest::LogDest;
    void write(int, const char*, const char*) override {}
  };
  Quiet first("FirstDest"), unnamed(nullptr), second("SecondDest");
  EXPECT_EQ(LogDest::findDest("firstdest"), &first);
  EXPECT_EQ(LogDest::findDest(nullptr), nullptr);
  {
    Quiet hiding("FIRSTDEST");
    EXPECT_EQ(LogDest::findDest("firstdest"), &hiding);
  }
  EXPECT_EQ(listed(LogDest::listDests).rfind("  SecondDest\n  FirstDest\n", 0), 0u);
}
