#include <fcntl.h>
#include <regex.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <ctime>

#include "tests/support/eventually.h"
#include "tests/system/SystemTest.h"

namespace fs = std::filesystem;
using test::Command;
using test::Process;
using test::Result;

namespace {

// An extended regular expression, whose "." may be a line feed.
bool contains(const std::string& text, const std::string& pattern) {
  regex_t expression;
  EXPECT_EQ(regcomp(&expression, pattern.c_str(), REG_EXTENDED | REG_NOSUB), 0) << pattern;
  bool found = regexec(&expression, text.c_str(), 0, nullptr, 0) == 0;
  regfree(&expression);
  return found;
}

}  // namespace

class Receiver : public SystemTest {
 protected:
  void SetUp() override {
    SystemTest::SetUp();
    if (IsSkipped()) return;
    ASSERT_EQ(chown(output.path().c_str(), account.uid, account.gid), 0);
  }

  static void send(const std::string& path, const std::string& bytes) {
    int fd = test::connectTo(path);
    EXPECT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    close(fd);
  }
  void own(const std::string& path) const {
    ASSERT_EQ(lchown(path.c_str(), account.uid, account.gid), 0);
  }
  void writeJobFile(const std::string& suffix, const std::string& text) const {
    test::writeFile(jobPath(suffix), text);
    own(jobPath(suffix));
  }
  static std::string description(const std::string& document) {
    return "[Document]\nName=../t\n[Device]\nDeviceName=q\n[PDF]\nCount=1\nFile0=" + document +
           "\n";
  }
  // Announces a job of these pages.
  void sendPages(const std::vector<std::string>& pages) const {
    std::string text = "[Document]\nName=t\n[Device]\nDeviceName=q\n[ZRLE]\nCount=" +
                       std::to_string(pages.size()) + "\n";
    for (size_t i = 0; i < pages.size(); i++) {
      const std::string suffix = "-" + std::to_string(i) + ".zrle";
      writeJobFile(suffix, pages[i]);
      text += "File" + std::to_string(i) + "=" + jobPath(suffix) + "\n";
    }
    writeJobFile(".ini", text);
    send(socketPath, message(jobPath(".ini")));
  }
  test::Command receiverWith(const std::vector<std::string>& parameters) const {
    test::Command command = receiver(output.path());
    command.arguments.insert(command.arguments.end(), parameters.begin(), parameters.end());
    return command;
  }
  void expectOutput(const std::string& name, const std::string& content) const {
    EXPECT_EQ(test::readFile(output / name), content);
  }

  // 9 x 2 pixels in black and white, 8 x 2 tenths of a millimetre.
  const std::string page{
      "\0\0\0\11\0\0\0\2\0\0\0\10\0\0\0\2\0\0\0\33\0\0\0\1\x80\x1c\x80\x10\0\0\0\0\0\11\0\2"
      "\x78\x9c\x62\xfa\xff\xff\x3f\x03\x10\x34\x34\x30\0\0\0\0\xff\xff",
      54};
  test::ScratchFolder output;
};

TEST_F(Receiver, takesTheJobsOfTheBackendOneAfterAnother) {
  Process server(receiver(output.path()));
  ASSERT_TRUE(server.waitFor("listening on " + socketPath + "\n"));
  EXPECT_EQ(backend("PDF").input("one").run().status, 0);
  ASSERT_TRUE(server.waitFor("received " + output / "A title-0.pdf\n"));
  EXPECT_EQ(backend("PDF").input("two").run().status, 0);
  ASSERT_TRUE(server.waitFor("received " + output / "A title-0_2.pdf\n"));
  EXPECT_EQ(backend("PS").input("three").run().status, 0);
  ASSERT_TRUE(server.waitFor("received " + output / "A title-0.ps\n"));
  expectOutput("A title-0.pdf", "one");
  expectOutput("A title-0_2.pdf", "two");
  expectOutput("A title-0.ps", "three");
  EXPECT_TRUE(test::eventually([&] { return jobFiles().empty(); }));
}

// A viewer would show only the last.
TEST_F(Receiver, pdfDocumentsBehindEachOtherBecomeFiles) {
  Process server(receiver(output.path()));
  ASSERT_TRUE(server.waitFor("listening on"));
  const std::string one = "%PDF-1.4\n" + std::string(100000, '1') + "%%EOF\n";
  const std::string two = "%PDF-1.7\n" + std::string(70000, '2') + "%%EOF\n";
  EXPECT_EQ(backend("PDF").input(one + two).run().status, 0);
  EXPECT_TRUE(server.waitFor("received " + output / "A title-1.pdf\n"));
  expectOutput("A title-0.pdf", one);
  expectOutput("A title-1.pdf", two);
  EXPECT_TRUE(test::eventually([&] { return jobFiles().empty(); }));
}

TEST_F(Receiver, pageFilesBecomePicturesAndBrokenOnesStay) {
  Process server(receiver(output.path()));
  ASSERT_TRUE(server.waitFor("listening on"));
  const std::string empty(
      "\0\0\0\11\0\0\0\0\0\0\0\10\0\0\0\0\0\0\0\33\0\0\0\1\x80\x0a\x80\x10\0\0\0\0\0\11\0\0", 36);
  sendPages({page, page.substr(0, 40), empty});
  EXPECT_TRUE(server.waitFor("received " + output / "t-0.png\n"));
  EXPECT_TRUE(server.waitFor("received " + output / "t-1.zrle\n"));
  EXPECT_TRUE(server.waitFor("received " + output / "t-2.zrle\n"));
  EXPECT_TRUE(server.waitFor("-1.zrle: byte 40: "));
  EXPECT_TRUE(server.waitFor("an empty page has no picture"));
  const std::string start("\x89PNG\r\n\x1a\n\0\0\0\15IHDR\0\0\0\11\0\0\0\2", 24);
  EXPECT_EQ(test::readFile(output / "t-0.png").substr(0, start.size()), start);
  expectOutput("t-1.zrle", page.substr(0, 40));
  EXPECT_TRUE(test::eventually([&] { return jobFiles().empty(); }));
  EXPECT_EQ(std::distance(fs::directory_iterator(output.path()), fs::directory_iterator()), 3);
}

TEST_F(Receiver, endsCleanly) {
  for (int number : {SIGINT, SIGTERM}) {
    Process server(receiver(output.path()));
    ASSERT_TRUE(server.waitFor("listening on"));
    server.signal(number);
    EXPECT_EQ(server.wait().status, 0);
    EXPECT_FALSE(fs::exists(socketPath));
  }
}

TEST_F(Receiver, outputOnAnotherFileSystemGetsACopy) {
  struct stat tmp, other;
  if (stat("/dev/shm", &other) < 0 || stat("/tmp", &tmp) < 0 || tmp.st_dev == other.st_dev) {
    GTEST_SKIP() << "needs a second file system at /dev/shm";
  }
  test::ScratchFolder away("/dev/shm");
  own(away.path());
  Process server(receiver(away.path()));
  ASSERT_TRUE(server.waitFor("listening on"));
  const std::string text(3000000, 'x');
  EXPECT_EQ(backend("PDF").input(text).run().status, 0);
  ASSERT_TRUE(server.waitFor("received " + away / "A title-0.pdf\n"));
  EXPECT_EQ(test::readFile(away / "A title-0.pdf"), text);
  EXPECT_FALSE(fs::exists(jobPath(".in")));
}

TEST_F(Receiver, sweepsADeadSocketAndLeavesALiveOne) {
  Process server(receiver(output.path()));
  ASSERT_TRUE(server.waitFor("listening on"));
  Result second = receiver(output.path()).run();
  EXPECT_EQ(second.status, 1);
  EXPECT_EQ(second.err, "qolt-receiver: another server listens on " + socketPath + "\n");

  server.signal(SIGKILL);
  server.wait();
  ASSERT_TRUE(fs::exists(socketPath));
  Process heir(receiver(output.path()));
  ASSERT_TRUE(heir.waitFor("listening on"));
  send(socketPath, "");  // somebody looks whether it is alive
  EXPECT_EQ(backend("PDF").input("one").run().status, 0);
  EXPECT_TRUE(heir.waitFor("received "));
  heir.signal(SIGTERM);
  EXPECT_EQ(heir.wait().err, "");
}

TEST_F(Receiver, badMessageIsReportedAndTheNextConnectionServed) {
  Process server(receiver(output.path(), "--timeout=1"));
  ASSERT_TRUE(server.waitFor("listening on"));
  const std::string tooLong = std::string("\0\0\1\0", 4) + std::string(256, 'x');
  const struct {
    std::string bytes, problem;
  } cases[] = {
      {"\xff\xff\xff\xff", "bad message: a path of 4294967295 bytes"},
      {std::string(4, '\0'), "bad message: a path of 0 bytes"},
      {tooLong, "bad message: a path of 256 bytes"},
      {message(std::string("/tmp/qolt-\0x", 12)), "bad message: a zero byte in the path"},
      {message("/tmp/qolt-x").substr(0, 9), "bad message: cut off"},
      {message("/etc/passwd"), "refused /etc/passwd: not a file of a job"},
      {message("/tmp/qolt-x/../../etc/passwd"), "refused /tmp/qolt-x/../../etc/passwd: not a file"},
      {message(jobPath(".none")), jobPath(".none") + "): No such file or directory (2)"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.problem);
    send(socketPath, c.bytes);
    EXPECT_TRUE(server.waitFor(c.problem));
  }
  int stalled = test::connectTo(socketPath);
  EXPECT_EQ(write(stalled, "\0\0", 2), 2);
  EXPECT_TRUE(server.waitFor("bad message: not complete after 1 s"));
  close(stalled);
  EXPECT_EQ(backend("PDF").input("one").run().status, 0);
  EXPECT_TRUE(server.waitFor("received "));
}

TEST_F(Receiver, stopsWhileAPeerStalls) {
  Process server(receiver(output.path(), "--timeout=3600"));
  ASSERT_TRUE(server.waitFor("listening on"));
  int stalled = test::connectTo(socketPath);
  EXPECT_EQ(write(stalled, "\0\0", 2), 2);
  server.signal(SIGTERM);
  EXPECT_EQ(server.wait().status, 0);
  EXPECT_FALSE(fs::exists(socketPath));
  close(stalled);
}

TEST_F(Receiver, takesNothingButPlainFilesOfItsAccount) {
  Process server(receiver(output.path()));
  ASSERT_TRUE(server.waitFor("listening on"));
  const std::string document = jobPath(".in");
  test::writeFile(jobPath("-foreign"), "x");
  writeJobFile("-target", "x");
  fs::create_symlink(jobPath("-target"), jobPath("-link"));
  own(jobPath("-link"));
  fs::create_hard_link(jobPath("-target"), jobPath("-twin"));
  ASSERT_EQ(mkfifo(jobPath("-fifo").c_str(), 0600), 0);
  own(jobPath("-fifo"));
  fs::create_directory(jobPath("-folder"));
  own(jobPath("-folder"));
  const struct {
    std::string path, problem;
  } cases[] = {
      {jobPath("-link"), "open(" + jobPath("-link")},
      {jobPath("-twin"), "refused " + jobPath("-twin")},
      {jobPath("-fifo"), "refused " + jobPath("-fifo")},
      {jobPath("-folder"), "refused " + jobPath("-folder")},
      {output / "elsewhere", "refused " + output / "elsewhere"},
      // Root's: either it cannot be opened or it is not our own.
      {jobPath("-foreign"), jobPath("-foreign")},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    writeJobFile(".ini", description(c.path));
    send(socketPath, message(jobPath(".ini")));
    EXPECT_TRUE(server.waitFor(c.problem));
    EXPECT_TRUE(fs::exists(jobPath(".ini")));
  }
  writeJobFile(".ini", std::string((1 << 20) + 1, 'x'));
  send(socketPath, message(jobPath(".ini")));
  EXPECT_TRUE(server.waitFor("too large"));
  EXPECT_TRUE(fs::is_empty(output.path()));
}

TEST_F(Receiver, joinedPagesGoToACommandWithoutAShell) {
  const std::string list = output / "list", program = output / "a program";
  test::writeFile(program, "#!/bin/sh\nprintf '<%s>' \"$@\" >>" + list + "\n");
  ASSERT_EQ(chmod(program.c_str(), 0755), 0);
  ASSERT_EQ(symlink(program.c_str(), (output / "program").c_str()), 0);
  test::Command command = receiverWith({"--Join", "--Command=program  $HOME;x"});
  Process server(command.env("PATH", output.path() + ":/usr/bin:/bin"));
  ASSERT_TRUE(server.waitFor("listening on"));
  sendPages({page, page, page});
  if (!server.waitFor("page 3 of 3\n")) GTEST_SKIP() << "built without libqpdf";
  const std::string document = output / "t-0.pdf";
  ASSERT_TRUE(server.waitFor("received " + document + "\n"));
  EXPECT_TRUE(test::eventually([&] { return jobFiles().empty(); }));
  EXPECT_TRUE(
      test::eventually([&] { return test::readFile(list) == "<$HOME;x><" + document + ">"; }));

  Result pictures = Command({"/usr/bin/pdfimages", document, output / "picture"}).run();
  Result info = Command({"/usr/bin/pdfinfo", document}).run();
  if (pictures.status == 127) GTEST_SKIP() << "needs pdfimages to look at the pages";
  EXPECT_NE(info.out.find("Pages:           3\n"), std::string::npos) << info.out;
  EXPECT_NE(info.out.find("Page size:       2.27 x 0.57 pts"), std::string::npos) << info.out;
  // The last pixel of the first row and the first of the second are black.
  const std::string white(24, '\xff'),
      picture = "P6\n9 2\n255\n" + white + std::string(6, '\0') + white;
  for (const char* number : {"000", "001", "002"}) {
    EXPECT_EQ(test::readFile(output / ("picture-" + std::string(number) + ".ppm")), picture);
  }
}

TEST_F(Receiver, pagesThatCannotBeJoinedAreTakenOneByOne) {
  Process server(receiverWith({"-Join"}));
  ASSERT_TRUE(server.waitFor("listening on"));
  sendPages({page, page.substr(0, 50)});
  EXPECT_TRUE(server.waitFor("received " + output / "t-0.png\n"));
  EXPECT_TRUE(server.waitFor("received " + output / "t-1.zrle\n"));
  EXPECT_TRUE(server.waitFor("pages not joined: "));
  EXPECT_FALSE(fs::exists(output / "t-0.pdf"));
}

TEST_F(Receiver, stalledPeersCostTheOthersNothing) {
  Process server(receiver(output.path(), "--timeout=3600"));
  ASSERT_TRUE(server.waitFor("listening on"));
  std::vector<int> stalled;
  for (int i = 0; i < 100; i++) {
    stalled.push_back(test::connectTo(socketPath));
    EXPECT_EQ(write(stalled.back(), "\0\0\0\x20/tmp", i % 8), i % 8);
  }
  EXPECT_EQ(backend("PDF").input("one").run().status, 0);
  EXPECT_TRUE(server.waitFor("received "));
  for (int fd : stalled) close(fd);
}

// The listener's queue keeps who comes meanwhile.
TEST_F(Receiver, acceptsNoMoreNearTheDescriptorLimit) {
  test::Command command = receiver(output.path(), "--timeout=1");
  Process server(command.before([] {
    rlimit limit = {64, 64};
    return setrlimit(RLIMIT_NOFILE, &limit) == 0;
  }));
  ASSERT_TRUE(server.waitFor("listening on"));
  const size_t descriptors = server.openDescriptors();
  std::vector<int> stalled;
  for (int i = 0; i < 80; i++) stalled.push_back(test::connectTo(socketPath));
  EXPECT_EQ(backend("PDF").input("one").run().status, 0);
  EXPECT_LE(server.openDescriptors(), 40u);
  EXPECT_TRUE(server.waitFor("received "));
  EXPECT_TRUE(test::eventually([&] { return server.openDescriptors() == descriptors; }));
  for (int fd : stalled) close(fd);
  server.signal(SIGTERM);
  // None was refused for want of a descriptor.
  EXPECT_EQ(server.wait().err.find("Too many open files"), std::string::npos);
}

TEST_F(Receiver, thousandsOfConnectionsLeaveNothingBehind) {
  Process server(receiverWith({"Log="}));
  ASSERT_TRUE(server.waitFor("listening on"));
  const size_t descriptors = server.openDescriptors();
  const std::string whole = message("/tmp/qolt-none");
  for (int i = 0; i < 3000; i++) send(socketPath, whole.substr(0, i % (whole.size() + 1)));
  EXPECT_TRUE(test::eventually([&] { return server.openDescriptors() == descriptors; }));
  EXPECT_EQ(backend("PDF").input("one").run().status, 0);
  EXPECT_TRUE(server.waitFor("received "));
}

TEST_F(Receiver, jobsAnnouncedBeforeTheEndAreTaken) {
  Process server(receiver(output.path()));
  ASSERT_TRUE(server.waitFor("listening on"));
  const std::vector<std::string> pages(200, page);
  sendPages(pages);
  ASSERT_TRUE(server.waitFor("received "));
  server.signal(SIGTERM);
  Result result = server.wait();
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("received " + output / "t-199.png"), std::string::npos);
  EXPECT_TRUE(jobFiles().empty());
}

TEST_F(Receiver, logFileHasEarlierMessagesAndTheDaysThatItKeeps) {
  const std::string folder = output / "logs", file = folder + "/r.log";
  ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
  own(folder);
  const time_t now = time(nullptr), day = 86400;
  auto archive = [&](int daysAgo) {
    time_t then = now - daysAgo * day;
    char date[16];
    strftime(date, sizeof(date), ".%Y-%m-%d", localtime(&then));
    return file + date;
  };
  for (int days : {2, 3, 4, 400}) {
    test::writeFile(archive(days), "old\n");
    own(archive(days));
  }
  test::writeFile(folder + "/r.log.notes", "mine\n");
  test::writeFile(file, "yesterday\n");
  own(file);
  const timespec yesterday[2] = {{now - day, 0}, {now - day, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), yesterday, 0), 0);

  // The specification comes before the parameters of the file.
  Process server(receiverWith(
      {"--Log=*:file:100,Server:stderr:0", "-LogDir", folder, "-LogFile=r.log", "LogKeepDays=3"}));
  ASSERT_TRUE(server.waitFor("listening on"));
  send(socketPath, message("/etc/passwd"));
  EXPECT_TRUE(
      test::eventually([&] { return test::readFile(file).find("refused") != std::string::npos; }));
  server.signal(SIGTERM);
  EXPECT_EQ(server.wait().err, "");
  const std::string text = test::readFile(file);
  for (const char* line :
       {"\n[-0-9]{10}T[:0-9]{8}\\.[0-9]{3}[-+][0-9]{2}:[0-9]{2} 100 ConfigParameter: ",
        " 30 Configuration: LogFile=r\\.log \\(Preference\\)\n",
        " 100 LogDestMem: Start replaying stored messages\n",
        " 0 JobWorker: refused /etc/passwd: not a file of a job\n"}) {
    EXPECT_TRUE(contains("\n" + text, line)) << line << "\n" << text;
  }
  EXPECT_EQ(test::readFile(archive(1)), "yesterday\n");
  EXPECT_TRUE(fs::exists(archive(2)) && fs::exists(archive(3)));
  EXPECT_FALSE(fs::exists(archive(4)) || fs::exists(archive(400)));
  EXPECT_TRUE(fs::exists(folder + "/r.log.notes"));
  struct stat status;
  ASSERT_EQ(stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST_F(Receiver, logFileThatCannotBeWrittenIsToldOnce) {
  Process server(receiverWith({"--Log=*:file:100", "--LogDir=/dev/full"}));
  ASSERT_TRUE(server.waitFor("listening on"));
  EXPECT_EQ(backend("PDF").input("one").run().status, 0);
  EXPECT_TRUE(server.waitFor("received "));
  server.signal(SIGTERM);
  const std::string errors = server.wait().err;
  EXPECT_TRUE(errors.starts_with("qolt-receiver: no more logging to file: ")) << errors;
  EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1);
}

TEST_F(Receiver, helpListsTheParametersInTheLanguageAskedFor) {
  const struct {
    std::vector<std::string> words;
    std::string text;
  } cases[] = {
      {{"-help"}, "  Timeout        - Seconds within which a connection must announce its job.\n"},
      {{"-Locale", "de", "--HELP"}, "  Join           - Die Seiten eines Auftrags zu einem"},
      {{"-help", "all"}, "  LazyFlushTimeout - "},
  };
  for (const auto& c : cases) {
    std::vector<std::string> words = {QOLT_RECEIVER};
    words.insert(words.end(), c.words.begin(), c.words.end());
    Result help = Command(words).run();
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find(c.text), std::string::npos) << help.out;
    EXPECT_FALSE(contains(help.out, "[ -~]{80}"));
  }
  Result bad = Command({QOLT_RECEIVER, "-Locale=es_ES", "-Bogus"}).run();
  EXPECT_EQ(bad.status, 1);
  EXPECT_TRUE(bad.err.starts_with("qolt-receiver: Argumento")) << bad.err;
}

TEST_F(Receiver, badArgumentIsRefused) {
  for (std::string argument : {"--name=a/b", "--output=/nonexistent", "--timeout=0", "--other"}) {
    SCOPED_TRACE(argument);
    Command command({QOLT_RECEIVER, argument});
    Result result = command.as(account).run();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err.rfind("qolt-receiver: ", 0), 0u) << result.err;
  }
}
