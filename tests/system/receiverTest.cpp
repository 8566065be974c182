#include <sys/stat.h>

#include <csignal>

#include "tests/support/eventually.h"
#include "tests/system/SystemTest.h"

namespace fs = std::filesystem;
using test::Command;
using test::Process;
using test::Result;

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
  void expectOutput(const std::string& name, const std::string& content) const {
    EXPECT_EQ(test::readFile(output / name), content);
  }

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
  EXPECT_TRUE(jobFiles().empty());
}

TEST_F(Receiver, pageFilesBecomePicturesAndBrokenOnesStay) {
  Process server(receiver(output.path()));
  ASSERT_TRUE(server.waitFor("listening on"));
  // 9 x 2 pixels in two colours; the same cut off; a page without pixels.
  const std::string page(
      "\0\0\0\11\0\0\0\2\0\0\0\10\0\0\0\2\0\0\0\33\0\0\0\1\x80\x1c\x80\x10\0\0\0\0\0\11\0\2"
      "\x78\x9c\x62\xfa\xff\xff\x3f\x03\x10\x34\x34\x30\0\0\0\0\xff\xff",
      54);
  const std::string empty(
      "\0\0\0\11\0\0\0\0\0\0\0\10\0\0\0\0\0\0\0\33\0\0\0\1\x80\x0a\x80\x10\0\0\0\0\0\11\0\0", 36);
  writeJobFile("-0.zrle", page);
  writeJobFile("-1.zrle", page.substr(0, 40));
  writeJobFile("-2.zrle", empty);
  std::string text = "[Document]\nName=t\n[Device]\nDeviceName=q\n[ZRLE]\nCount=3\n";
  for (int i = 0; i < 3; i++) {
    std::string number = std::to_string(i);
    text += "File" + number + "=" + jobPath("-" + number + ".zrle") + "\n";
  }
  writeJobFile(".ini", text);
  send(socketPath, message(jobPath(".ini")));
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

TEST_F(Receiver, badArgumentIsRefused) {
  for (std::string argument : {"--name=a/b", "--output=/nonexistent", "--timeout=0", "--other"}) {
    SCOPED_TRACE(argument);
    Command command({QOLT_RECEIVER, argument});
    Result result = command.as(account).run();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err.rfind("qolt-receiver: ", 0), 0u) << result.err;
  }
}
