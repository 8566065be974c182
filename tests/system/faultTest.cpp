#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <map>
#include <memory>
#include <set>
#include <sstream>

#include "tests/support/cupsimage/LibraryFolder.h"
#include "tests/support/cupsimage/library.h"
#include "tests/support/descriptors.h"
#include "tests/support/faults/Fault.h"
#include "tests/support/rasterWriter.h"
#include "tests/system/SystemTest.h"
#include "tests/system/faultLine.h"

using test::Command;
using test::failing;
using test::Fault;
using test::killedBy;
using test::skipped;

namespace {

// What comes on standard input, or a raster document as a named file; the raster has two
// streams with a page each.
enum class Job { pdf, raster, named };

std::string nameOf(Job job) {
  static const char* const names[] = {"PDF", "raster", "named"};
  return names[static_cast<int>(job)];
}

void PrintTo(Job job, std::ostream* out) {
  *out << nameOf(job);
}

bool isDrop(const std::string& call) {
  return call == "setgid" || call == "setgroups" || call == "setuid" || call == "getresuid";
}

}  // namespace

class FaultTest : public SystemTest {
 protected:
  struct Outcome {
    int status;
    std::string err;
    std::string message;    // the last line, when a job that succeeds has no such line
    std::string strike;     // the call that the fault met, "" when it met none
    std::string announced;  // what the server was sent
  };
  using Files = std::map<std::string, std::string>;

  void SetUp() override {
    SystemTest::SetUp();
    if (IsSkipped()) return;
    rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
    library.put(test::readFile(test::fileOf(test::CupsImage::standIn)));
    test::writeFile(scratch / "document", raster);
    server = std::make_unique<test::FakeServer>(account, endpoint);
    for (Job kind : {Job::pdf, Job::raster, Job::named}) remember(kind);
  }
  void TearDown() override {
    server.reset();
    SystemTest::TearDown();
  }

  const std::string& bytesOf(Job kind) const { return kind == Job::pdf ? pdf : raster; }

  Command command(Job kind) const {
    Command command =
        backend(kind == Job::pdf ? "PDF" : "ZRLE", kind == Job::named ? scratch / "document" : "");
    library.use(command);
    return kind == Job::named ? command : command.input(bytesOf(kind));
  }

  Outcome run(Job kind, const Command& command) {
    test::Result result = command.run();
    Outcome outcome{result.status, result.err, "", "", server ? server->receiveAtOnce() : ""};
    std::istringstream lines(result.err);
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with("fault: ")) {
        outcome.strike = line.substr(7);
      } else {
        outcome.message = usual[kind].contains(line) ? "" : line;
      }
    }
    return outcome;
  }
  Outcome run(Job kind, const Fault& fault) {
    Command faulty = command(kind);
    return run(kind, fault.into(faulty));
  }

  Files files() const {
    Files found;
    for (const std::string& path : jobFiles()) found[path] = test::readFile(path);
    return found;
  }
  void removeJobFiles() const {
    for (const std::string& path : jobFiles()) std::filesystem::remove_all(path);
  }

  void remember(Job kind) {
    test::Result result = command(kind).run();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(server->receive(), message());
    std::istringstream lines(result.err);
    for (std::string line; std::getline(lines, line);) usual[kind].insert(line);
    whole[kind] = files();
    EXPECT_EQ(whole[kind].size(), kind == Job::pdf ? 2u : 3u);
    removeJobFiles();
  }

  void expectDelivered(Job kind, const Outcome& outcome) {
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.announced, message());
    EXPECT_TRUE(files() == whole[kind]) << outcome.err;
  }

  // What holds whatever fails.
  void expectDeliveredOrFailed(Job kind, const Outcome& outcome, const Fault& fault) {
    SCOPED_TRACE(nameOf(kind) + ": " + outcome.strike + "\n" + outcome.err);
    const bool announced = !outcome.announced.empty();
    if (fault.action != Fault::Action::kill) {
      EXPECT_EQ(outcome.status == 0, announced);
      EXPECT_EQ(outcome.message.empty(), announced);
    }
    if (announced) {
      EXPECT_EQ(outcome.announced, message());
      expectAnnouncedFiles(kind, fault);
      return;
    }
    EXPECT_NE(outcome.status, 0);
    if (fault.number == SIGKILL && fault.action == Fault::Action::kill) return;
    const bool converting = kind != Job::pdf &&
                            outcome.err.find("[Document]") == std::string::npos &&
                            !outcome.strike.ends_with(".ini");
    for (const std::string& path : jobFiles()) {
      EXPECT_TRUE(path.ends_with(".zrle") ? converting
                                          : path == jobPath(".in") && isDrop(fault.call))
          << path << " stays";
    }
  }

  void expectAnnouncedFiles(Job kind, const Fault& fault) {
    Files found = files();
    // The copy of a raster document is unlinked last.
    if (kind == Job::named && (fault.call == "unlink" || fault.action == Fault::Action::kill)) {
      found.erase(jobPath(".in"));
    }
    if (fault.call == "read" && kind != Job::pdf && found.size() < whole[kind].size()) {
      // The imaging library took the failure for the end.
      std::vector<std::string> pages;
      for (const auto& [path, bytes] : found) {
        if (path != jobPath(".ini")) pages.push_back(path);
      }
      for (const std::string& path : pages) EXPECT_TRUE(found[path] == whole[kind].at(path));
      EXPECT_EQ(found[jobPath(".ini")], description("ZRLE", pages));
      return;
    }
    EXPECT_TRUE(found == whole[kind]);
  }

  // Returns whether the fault met a call.
  bool strikes(Job kind, const Fault& fault) {
    Outcome outcome = run(kind, fault);
    if (outcome.strike.empty()) {
      expectDelivered(kind, outcome);
    } else {
      expectDeliveredOrFailed(kind, outcome, fault);
      expectDelivered(kind, run(kind, command(kind)));
    }
    removeJobFiles();
    return !outcome.strike.empty() && !HasFailure();
  }

  std::string shown(const Fault& fault) const {
    std::string call = "`" + fault.call + (fault.target == "*" ? "" : " " + fault.target) + "`";
    if (fault.nth > 1) call += " no. " + std::to_string(fault.nth);
    switch (fault.action) {
      case Fault::Action::kill:
        return "SIG" + std::string(sigabbrev_np(fault.number)) + " at " + call;
      case Fault::Action::skip:
        return call + " does nothing";
      default:
        return call + ": " + strerrorname_np(fault.number);
    }
  }

  void printLine(const std::string& step, Job kind, const std::string& fault,
                 const Outcome& outcome) const {
    test::print({step, nameOf(kind), fault, outcome.message, outcome.status, jobFiles()},
                {{job, "JOB"},
                 {"getpwuid(" + std::to_string(account.uid) + ")", "getpwuid(UID)"},
                 {privateDir, "/tmp/.qolt-UID"},
                 {scratch.path() + "/", "/"}});
  }

  const std::string pdf = std::string(40000, 'p') + "%%EOF";
  const std::string raster = test::rasterStream("RaS3", {test::randomPage(3, 2)}) +
                             test::rasterStream("3SaR", {test::randomPage(2, 3)});
  test::ScratchFolder scratch;
  test::LibraryFolder library;
  std::unique_ptr<test::FakeServer> server;
  // The files, and the lines on standard error, of a job that nothing happens to.
  std::map<Job, Files> whole;
  std::map<Job, std::set<std::string>> usual;
};

TEST_F(FaultTest, everyStepThatFailsHasItsMessageAndLeavesWhatItShould) {
  const std::string in = jobPath(".in"), ini = jobPath(".ini"), page0 = jobPath("-0.zrle"),
                    page1 = jobPath("-1.zrle"), document = scratch / "document";
  auto opening = [](const std::string& path) { return "qolt: Error opening \"" + path + "\": "; };
  auto reading = [](const std::string& path) {
    return "qolt: open(\"" + path + "\", O_RDONLY): Too many open files (24)";
  };
  const std::string noSpace = "No space left on device (28)", io = "Input/output error (5)",
                    files = "Too many open files (24)", exists = "File exists (17)",
                    perm = "Operation not permitted", writing = "qolt: writing to file failed: ",
                    cut = "qolt: Unexpected end of CUPS page data";
  const struct {
    const char* step;
    Job kind;
    Fault fault;
    std::string message;
    int status;
    std::vector<std::string> left;
    bool leftover = false;  // of an earlier job
  } rows[] = {
      {"input", Job::named, failing("open", document, EMFILE), reading(document), 1, {}},
      {"account",
       Job::pdf,
       failing("getpwuid_r", "*", EIO),
       "qolt: getpwuid(" + std::to_string(account.uid) + "): " + io,
       1,
       {}},
      {"store", Job::pdf, failing("open", in, EMFILE), opening(in) + files, 1, {}},
      {"store", Job::pdf, failing("open", in, ENOSPC), opening(in) + noSpace, 1, {}},
      {"store", Job::pdf, failing("fdopen", in, EMFILE), opening(in) + files, 1, {}},
      {"store",
       Job::pdf,
       failing("fchown", in, EPERM),
       "qolt: fchown(" + in + "): " + perm + " (1)",
       1,
       {}},
      {"store", Job::pdf, failing("read", "stdin", EIO), "qolt: read: " + io, 1, {}},
      {"store", Job::named, failing("read", document, EIO), "qolt: read: " + io, 1, {}},
      {"store", Job::pdf, failing("fwrite", in, ENOSPC), writing + noSpace, 1, {}},
      {"store", Job::pdf, failing("fwrite", in, ENOSPC, 2), writing + noSpace, 1, {}},
      {"store", Job::pdf, failing("fclose", in, EIO), "qolt: fclose: " + io, 1, {}},
      {"store", Job::pdf, failing("unlink", in, EROFS), opening(in) + exists, 1, {in}, true},
      {"store", Job::pdf, failing("fdopen", in, EMFILE), opening(in) + files, 1, {}, true},
      {"store", Job::pdf, killedBy(SIGTERM, "read", "stdin"), "", 1, {}},
      {"store", Job::pdf, killedBy(SIGKILL, "fwrite", in), "", 137, {in}},
      {"drop", Job::pdf, failing("setgid", "*", EPERM), "setgid(): " + perm, 1, {in}},
      {"drop", Job::pdf, failing("setgroups", "*", EPERM), "setgroups(): " + perm, 1, {in}},
      {"drop",
       Job::pdf,
       failing("setuid", "*", EAGAIN),
       "setuid(): Resource temporarily unavailable",
       1,
       {in}},
      {"drop", Job::pdf, skipped("setuid"), "Unexpected uid", 134, {in}},
      {"drop", Job::pdf, failing("getresuid", "*", EFAULT), "Unexpected uid", 134, {in}},
      {"drop", Job::pdf, skipped("setgid"), "Unexpected gid", 1, {in}},
      {"report",
       Job::pdf,
       failing("sysconf", "*", EINVAL),
       "qolt: sysconf(_SC_NGROUPS_MAX): Invalid argument (22)",
       1,
       {}},
      {"report",
       Job::pdf,
       failing("getgroups", "*", EINVAL),
       "qolt: getgroups(): Invalid argument (22)",
       1,
       {}},
      {"convert", Job::named, failing("open", in, EMFILE, 2), reading(in), 1, {}},
      {"convert",
       Job::named,
       failing("fstat", in, EIO),
       "qolt: open(\"" + in + "\", O_RDONLY): " + io,
       1,
       {}},
      {"convert",
       Job::raster,
       failing("dlopen", "libcupsimage", ENOENT),
       "qolt: Function cupsRasterOpen not found in cupsimage[2] library",
       1,
       {}},
      {"convert",
       Job::raster,
       failing("read", "stdin", EIO),
       "qolt: cupsRasterOpen('[stdin]') failed",
       1,
       {}},
      {"convert", Job::raster, failing("pipe2", "*", EMFILE), "qolt: pipe2: " + files, 1, {}},
      {"convert",
       Job::raster,
       failing("tee", "stdin", ENOMEM, 3),
       "qolt: tee: Cannot allocate memory (12)",
       1,
       {page0}},
      {"convert", Job::named, failing("pread", in, EIO, 3), "qolt: pread: " + io, 1, {page0}},
      {"convert", Job::raster, failing("open", page0, ENOSPC), opening(page0) + noSpace, 1, {}},
      {"convert", Job::raster, failing("read", "stdin", EIO, 3), cut, 1, {page0}},
      {"convert", Job::raster, failing("fwrite", page0, ENOSPC), writing + noSpace, 1, {page0}},
      {"convert",
       Job::raster,
       failing("fwrite", page1, ENOSPC),
       writing + noSpace,
       1,
       {page0, page1}},
      {"convert",
       Job::raster,
       failing("fclose", page1, EIO),
       "qolt: fclose: " + io,
       1,
       {page0, page1}},
      {"convert", Job::raster, killedBy(SIGTERM, "fwrite", page1), "", 1, {page0, page1}},
      {"describe", Job::raster, failing("open", ini, ENOSPC), opening(ini) + noSpace, 1, {}},
      {"describe", Job::named, failing("fwrite", ini, ENOSPC), writing + noSpace, 1, {}},
      {"describe", Job::pdf, failing("fclose", ini, EIO), "qolt: fclose: " + io, 1, {}},
      {"connect", Job::pdf, failing("socket", "*", EMFILE), "qolt: socket: " + files, 1, {}},
      {"connect",
       Job::pdf,
       failing("connect", "socket", ECONNREFUSED),
       "qolt: connect: Connection refused (111)",
       1,
       {}},
      {"connect",
       Job::raster,
       failing("connect", "socket", EAGAIN),
       "qolt: connect: Resource temporarily unavailable (11)",
       1,
       {}},
      {"connect",
       Job::raster,
       failing("fcntl", "socket", EINVAL),
       "qolt: setBlocking: Invalid argument (22)",
       1,
       {}},
      {"check",
       Job::pdf,
       failing("getsockopt", "socket", EINVAL, 2),
       "qolt: getPeerEuid: Invalid argument (22)",
       1,
       {}},
      {"check",
       Job::pdf,
       failing("lstat", privateDir, EACCES),
       "qolt: lstat(" + privateDir + "): Permission denied (13)",
       1,
       {}},
      // The stream used to try again when it was destroyed, and the job was announced.
      {"send",
       Job::pdf,
       failing("write", "socket", ENOBUFS),
       "qolt: write: No buffer space available (105)",
       1,
       {}},
      {"send",
       Job::raster,
       failing("write", "socket", EPIPE),
       "qolt: write: Broken pipe (32)",
       1,
       {}},
      {"send", Job::pdf, killedBy(SIGTERM, "write", "socket"), "", 0, {in, ini}},
      {"release", Job::named, failing("unlink", in, EPERM, 2), "", 0, {in, page0, page1, ini}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(nameOf(row.kind) + ": " + shown(row.fault));
    if (row.leftover) test::writeFile(in, "of an earlier job");
    Outcome outcome = run(row.kind, row.fault);
    printLine(row.step, row.kind, shown(row.fault) + (row.leftover ? ", of a leftover" : ""),
              outcome);
    EXPECT_NE(outcome.strike, "") << outcome.err;
    EXPECT_EQ(outcome.message, row.message) << outcome.err;
    EXPECT_EQ(outcome.status, row.status);
    std::vector<std::string> left = row.left;
    std::sort(left.begin(), left.end());
    EXPECT_EQ(jobFiles(), left);
    if (!row.leftover) expectDeliveredOrFailed(row.kind, outcome, row.fault);
    expectDelivered(row.kind, run(row.kind, command(row.kind)));
    removeJobFiles();
  }
}

TEST_F(FaultTest, interruptedCallsAreRepeated) {
  for (Job kind : {Job::pdf, Job::raster}) {
    for (const char* call : {"read", "tee", "connect", "poll"}) {
      SCOPED_TRACE(call);
      if (kind == Job::raster && strcmp(call, "read") == 0) continue;  // the library's
      Outcome outcome = run(kind, failing(call, "*", EINTR));
      if (!outcome.strike.empty()) expectDelivered(kind, outcome);
      removeJobFiles();
    }
  }
  // Nothing there yet, from an input that does not block; and the wait is interrupted.
  expectDelivered(Job::pdf, run(Job::pdf, failing("read", "stdin", EAGAIN)));
}

TEST_F(FaultTest, cancelledJobLeavesAForeignEntryAlone) {
  for (const char* call : {"open", "unlink"}) {
    const Fault fault = killedBy(SIGTERM, call, jobPath(".in"));
    SCOPED_TRACE(shown(fault));
    std::filesystem::create_directory(jobPath(".in"));
    Outcome outcome = run(Job::pdf, fault);
    EXPECT_NE(outcome.strike, "");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(std::filesystem::is_directory(jobPath(".in")));
    removeJobFiles();
  }
}

TEST_F(FaultTest, withoutAServerNothingStays) {
  for (Job kind : {Job::pdf, Job::raster, Job::named}) {
    server.reset();
    Outcome outcome = run(kind, command(kind));
    printLine("connect", kind, "nobody listens", outcome);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.message, "qolt: connect: No such file or directory (2)");
    EXPECT_TRUE(jobFiles().empty());
    server = std::make_unique<test::FakeServer>(account, endpoint);
  }
}

// Its number used to go to the next file: that of standard error to the description, where
// the text then stood twice, and to the connection; that of standard input to a pipe of the
// job's own, where it waited for ever.
TEST_F(FaultTest, closedStandardStreamsDoNotBecomeFilesOfTheJob) {
  for (Job kind : {Job::pdf, Job::raster}) {
    const int document = test::memoryFile(bytesOf(kind));
    for (int closed = 1; closed < 8; closed++) {
      SCOPED_TRACE(closed);
      Command closing = command(kind);
      closing.input("").before([&] {
        alarm(60);  // with all of them closed nobody else would notice
        if (lseek(document, 0, SEEK_SET) < 0 || dup2(document, STDIN_FILENO) < 0) return false;
        for (int fd = 0; fd < 3; fd++) {
          if (closed & 1 << fd) close(fd);
        }
        return true;
      });
      Outcome outcome = run(kind, closing);
      if (closed & 1) {
        if (closed == 1) printLine("input", kind, "standard input is closed", outcome);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.message, closed & 4         ? ""
                                   : kind == Job::pdf ? "qolt: read: Bad file descriptor (9)"
                                                      : "qolt: cupsRasterOpen('[stdin]') failed");
        EXPECT_TRUE(jobFiles().empty());
      } else {
        expectDelivered(kind, outcome);
      }
      removeJobFiles();
    }
    close(document);
  }
}

class FaultSweep : public FaultTest, public testing::WithParamInterface<Job> {};

INSTANTIATE_TEST_SUITE_P(Of, FaultSweep, testing::Values(Job::pdf, Job::raster, Job::named),
                         testing::PrintToStringParamName());

TEST_P(FaultSweep, whateverCallFailsTheJobIsDeliveredOrFails) {
  const struct {
    const char* call;
    std::vector<int> errors;
  } calls[] = {
      {"open", {EMFILE, EACCES}},
      {"fdopen", {ENOMEM}},
      {"read", {EIO, EINTR}},
      {"pread", {EIO}},
      {"tee", {ENOMEM, EINTR, EAGAIN}},
      {"poll", {EINTR}},
      {"pipe2", {EMFILE}},
      {"fwrite", {ENOSPC, EIO}},
      {"fclose", {ENOSPC}},
      {"close", {EIO}},
      {"fchown", {EPERM}},
      {"fcntl", {EINVAL}},
      {"unlink", {EPERM}},
      {"dlopen", {ENOENT}},
      {"getpwuid_r", {EMFILE}},
      {"setgid", {EPERM}},
      {"setgroups", {EPERM}},
      {"setuid", {EPERM}},
      {"getresuid", {EFAULT}},
      {"getgroups", {EINVAL}},
      {"socket", {EMFILE}},
      {"setsockopt", {EINVAL}},
      {"getsockopt", {EINVAL}},
      {"lstat", {ENOENT}},
      {"connect", {ECONNREFUSED, EAGAIN, EINTR}},
      {"write", {EPIPE, EINTR, EAGAIN}},
  };
  int struck = 0;
  for (const auto& c : calls) {
    for (int error : c.errors) {
      for (int nth = 1; strikes(GetParam(), failing(c.call, "*", error, nth)); nth++) struck++;
      ASSERT_FALSE(HasFailure());
    }
  }
  EXPECT_GT(struck, 30);
}

TEST_P(FaultSweep, whereverTheJobIsKilledItIsDeliveredOrDeleted) {
  for (int signal : {SIGTERM, SIGKILL}) {
    int nth = 1;
    while (strikes(GetParam(), killedBy(signal, "*", "*", nth))) nth++;
    ASSERT_FALSE(HasFailure());
    EXPECT_GT(nth, 30);
  }
}

TEST_P(FaultSweep, howeverFewDescriptorsThereAreTheJobIsDeliveredOrFails) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer needs descriptors of its own";
#endif
  bool delivered = false;
  for (rlim_t limit = 4; !delivered; limit++) {
    SCOPED_TRACE(limit);
    ASSERT_LT(limit, 64u);
    Command limited = command(GetParam());
    limited.before([limit] {
      rlimit most = {limit, limit};
      return setrlimit(RLIMIT_NOFILE, &most) == 0;
    });
    Outcome outcome = run(GetParam(), limited);
    expectDeliveredOrFailed(GetParam(), outcome, {});
    delivered = !outcome.announced.empty();
    expectDelivered(GetParam(), run(GetParam(), command(GetParam())));
    removeJobFiles();
  }
}
