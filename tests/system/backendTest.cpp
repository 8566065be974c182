#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>

#include "tests/support/eventually.h"
#include "tests/system/SystemTest.h"

namespace fs = std::filesystem;
using test::Command;
using test::Process;
using test::Result;

class Backend : public SystemTest {
 protected:
  std::string description(const std::string& format) const {
    return SystemTest::description(format, {jobPath(".in")});
  }
  void expectJobFile(const std::string& suffix, const std::string& content) const {
    SCOPED_TRACE(suffix);
    struct stat status;
    ASSERT_EQ(lstat(jobPath(suffix).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFREG | 0600));
    EXPECT_EQ(status.st_uid, account.uid);
    EXPECT_EQ(status.st_gid, account.gid);
    EXPECT_EQ(test::readFile(jobPath(suffix)), content);
  }
  Command arguments(std::vector<std::string> rest) const {
    rest.insert(rest.begin(), QOLT_BACKEND);
    return Command(rest);
  }
  const std::string text = std::string(100000, 'x') + '\0' + "%%EOF";
};

TEST_F(Backend, noArgumentsListTheDevice) {
  Result result = arguments({}).run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "direct qolt:/ \"QOLT Printer\" \"QOLT Remote Printer\"\n");
  EXPECT_EQ(result.err, "");
}

TEST_F(Backend, otherArgumentCountsAreUsageErrors) {
  for (int count : {1, 2, 3, 4, 7, 8}) {
    SCOPED_TRACE(count);
    Command command = arguments(std::vector<std::string>(count, job));
    Result result = command.env("DEVICE_URI", uri("PDF")).run();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "Usage: qolt job user title num-copies options [filename]\n");
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(jobFiles().empty());
  }
}

TEST_F(Backend, badUriEndsTheJobWithItsMessage) {
  const std::string format =
      "Assertion 'wantZRLE || format == \"PS\" || format == \"PDF\"' failed at "
      "apps/cups-qolt/qolt-printer.cpp:";
  const struct {
    std::string uri, message;
  } cases[] = {
      {"ipp://x", "invalid device-uri 'ipp://x'\n"},
      {"qolt:/ZRLE/1000", "invalid device-uri 'qolt:/ZRLE/1000'\n"},
      {"qolt:/PDF/1000x@x", "invalid device-uri 'qolt:/PDF/1000x@x'\n"},
      {"qolt:/TIFF/1@x", format},
      {"qolt:/zrle/1@x", format},
      {"qolt:/ZRLE/-1@x", "getpwuid(4294967295): account not found\n"},
      {"qolt:/PDF/4294967294@x", "getpwuid(4294967294): account not found\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.uri);
    Command command = arguments({job, "u", "t", "1", ""});
    Result result = command.env("DEVICE_URI", c.uri).run();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err.rfind("qolt: " + c.message, 0), 0u) << result.err;
    EXPECT_TRUE(jobFiles().empty());
  }
  Result unset = arguments({job, "u", "t", "1", ""}).run();
  EXPECT_EQ(unset.status, 1);
  EXPECT_EQ(unset.err, "qolt: invalid device-uri '(null)'\n");
}

TEST_F(Backend, missingDocumentIsFoundBeforeTheUriIsLookedAt) {
  Command command = arguments({job, "u", "t", "1", "", "/nonexistent/doc"});
  Result result = command.env("DEVICE_URI", "ipp://x").run();
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err,
            "qolt: open(\"/nonexistent/doc\", O_RDONLY): No such file or directory (2)\n");
}

TEST_F(Backend, jobIsStoredForTheAccountAndAnnounced) {
  test::FakeServer server(account, endpoint);
  test::ScratchFolder scratch;
  test::writeFile(scratch / "document", text);
  for (std::string format : {"PDF", "PS"}) {
    for (bool named : {false, true}) {
      SCOPED_TRACE(format + (named ? " named" : " on standard input"));
      Command command = backend(format, named ? scratch / "document" : "");
      Result result = command.input(named ? "" : text).run();
      EXPECT_EQ(result.status, 0);
      std::string uid = std::to_string(account.uid), gid = std::to_string(account.gid);
      EXPECT_EQ(result.err, "qolt: backend dropped privs to uid=" + uid + ", euid=" + uid +
                                ", egid=" + gid + ", groups=" + gid + ",\n" + description(format) +
                                "qolt: connecting to socket \"" + socketPath +
                                "\"\nqolt: socket connected successfully\n");
      EXPECT_EQ(server.receive(), message());
      expectJobFile(".in", text);
      expectJobFile(".ini", description(format));
      EXPECT_EQ(jobFiles().size(), 2u);
    }
  }
}

TEST_F(Backend, serverThatNeverReadsIsASuccess) {
  test::FakeServer server(account, endpoint, 0);
  EXPECT_EQ(backend("PDF").input(text).run().status, 0);
}

TEST_F(Backend, brokenStandardErrorDoesNotEndTheJob) {
  test::FakeServer server(account, endpoint);
  EXPECT_EQ(backend("PDF").breakErrors().input(text).run().status, 0);
  EXPECT_EQ(server.receive(), message());
}

TEST_F(Backend, twoRunningJobsKeepTheirDocumentsApart) {
  test::FakeServer server(account, endpoint);
  Process first(backend("PDF").keepInputOpen());
  ASSERT_TRUE(test::eventually([&] { return fs::exists(jobPath(".in")); }));
  jobs.push_back(job + "0");
  Command second({QOLT_BACKEND, jobs.back(), "u", "t", "1", ""});
  EXPECT_EQ(second.env("DEVICE_URI", uri("PS")).input("second").run().status, 0);
  first.endInput("first");
  EXPECT_EQ(first.wait().status, 0);
  EXPECT_EQ(test::readFile(jobPath(".in")), "first");
  EXPECT_EQ(test::readFile(jobPath("0.in")), "second");
}

TEST_F(Backend, jobWithoutAServerLeavesNothing) {
  Result result = backend("PDF").input(text).run();
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("qolt: connecting to socket \"" + socketPath + "\"\nqolt: connect: "),
            std::string::npos)
      << result.err;
  EXPECT_TRUE(jobFiles().empty());
}

TEST_F(Backend, unprivilegedCallerCannotPrintForOthers) {
  Result result = backend("PDF").as(stranger).input(text).run();
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "qolt: fchown(" + jobPath(".in") + "): Operation not permitted (1)\n");
  EXPECT_TRUE(jobFiles().empty());

  result = backend("ZRLE").as(stranger).run();
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "setgid(): Operation not permitted\n");
}

// What used to slip through: the last bytes wait in stdio's buffer until the close.
TEST_F(Backend, documentThatDoesNotFitIsNotAnnounced) {
  const rlim_t limit = 64 * 1024;
  for (size_t size : {limit + 1, limit + 16384, 4 * limit}) {
    SCOPED_TRACE(size);
    Command command = backend("PDF");
    command.before([&] {
      // Beyond the limit a write fails with EFBIG once the signal is ignored.
      rlimit most = {limit, limit};
      return ::signal(SIGXFSZ, SIG_IGN) != SIG_ERR && setrlimit(RLIMIT_FSIZE, &most) == 0;
    });
    Result result = command.input(std::string(size, 'x')).run();
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("(27)\n"), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find("connecting"), std::string::npos) << result.err;
    EXPECT_TRUE(jobFiles().empty());
  }
}

TEST_F(Backend, fullDiskFailsTheJob) {
  auto smallTmp = [](const char* options) {
    return [options] {
      return unshare(CLONE_NEWNS) == 0 &&
             mount("none", "/", nullptr, MS_REC | MS_PRIVATE, "") == 0 &&
             mount("none", "/tmp", "tmpfs", 0, options) == 0;
    };
  };
  Command probe({"/bin/true"});
  if (probe.before(smallTmp("size=64k")).run().status != 0) GTEST_SKIP() << "may not mount";
  for (size_t size : {65537, 70000, 1000000}) {
    SCOPED_TRACE(size);
    Command command = backend("PDF");
    Result result = command.before(smallTmp("size=64k")).input(std::string(size, 'x')).run();
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("No space left on device (28)\n"), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find("connecting"), std::string::npos) << result.err;
  }
}

TEST_F(Backend, cancelledJobLeavesNothing) {
  // While it waits for the document.
  Process reading(backend("PDF").keepInputOpen());
  ASSERT_TRUE(test::eventually([&] { return fs::exists(jobPath(".in")); }));
  reading.signal(SIGTERM);
  EXPECT_EQ(reading.wait().status, 1);
  EXPECT_TRUE(jobFiles().empty());

  // While it waits for a place in the server's queue.
  test::BusyServer server(account, endpoint);
  Process connecting(backend("PDF").input(text));
  ASSERT_TRUE(connecting.waitFor("qolt: connecting"));
  EXPECT_EQ(jobFiles().size(), 2u);
  connecting.signal(SIGTERM);
  Result result = connecting.wait();
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err.find("connected"), std::string::npos);
  EXPECT_TRUE(jobFiles().empty());
}
