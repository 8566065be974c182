#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <functional>

#include "base/plat/unix/OwnedFd.h"
#include "tests/support/cupsimage/LibraryFolder.h"
#include "tests/support/cupsimage/library.h"
#include "tests/support/rasterWriter.h"
#include "tests/system/SystemTest.h"
#include "tests/system/faultLine.h"

using test::Command;
using test::Result;

// Whoever can write to /tmp can guess the names of the job files.
class HostileTmp : public SystemTest {
 protected:
  void SetUp() override {
    SystemTest::SetUp();
    if (IsSkipped()) return;
    library.put(test::readFile(test::fileOf(test::CupsImage::standIn)));
    test::writeFile(scratch / "document", raster);
    ASSERT_EQ(chmod(scratch.path().c_str(), 0777), 0);
  }

  // A name that a job uses, and that job.
  struct Name {
    std::string suffix, job;
    Command command;
    bool cleared = true;            // by root, which may remove what others have put there
    std::vector<std::string> left;  // besides it, when the job fails there
  };
  std::vector<Name> names() const {
    Command pages = backend("ZRLE"), named = backend("ZRLE", scratch / "document");
    library.use(pages).input(raster);
    library.use(named);
    const Command pdf = backend("PDF").input(text);
    return {{".in", "PDF", pdf, true, {}},
            {".in", "named", named, true, {}},
            {"-0.zrle", "raster", pages, true, {}},
            {"-1.zrle", "raster", pages, false, {jobPath("-0.zrle")}},
            {".ini", "PDF", pdf, true, {}},
            {".ini", "raster", pages, true, {}}};
  }

  std::string lastLine(const Result& result) const {
    std::string lines = result.err.substr(0, result.err.size() - !result.err.empty());
    return lines.substr(lines.rfind('\n') + 1);
  }

  const std::string text = std::string(30000, 'x') + "%%EOF";
  const std::string raster =
      test::rasterStream("RaS3", {test::randomPage(30, 70), test::randomPage(5, 5)});
  test::ScratchFolder scratch;
  test::LibraryFolder library;
};

// What can be removed makes way for a new file, which nobody else holds open; nothing is
// ever written to it, or through it.
TEST_F(HostileTmp, entryUnderAJobFileNameIsReplacedOrFailsTheJobUntouched) {
  test::FakeServer server(account, endpoint);
  const std::string victim = scratch / "victim", absent = scratch / "absent",
                    folder = scratch / "folder";
  mkdir(folder.c_str(), 0777);
  auto victimOf = [&](uid_t uid, gid_t gid) {
    // Nothing but the check stands before it.
    test::writeFile(victim, "precious");
    return chmod(victim.c_str(), 0666) | chown(victim.c_str(), uid, gid);
  };
  auto linkTo = [](const std::string& target) {
    return [target](const char* name) { return symlink(target.c_str(), name); };
  };
  auto hardLinkOf = [&](uid_t uid) {
    return [&, uid](const char* name) { return victimOf(uid, 0) | ::link(victim.c_str(), name); };
  };
  auto nodeOf = [](mode_t type, dev_t device) {
    return [=](const char* name) {
      return mknod(name, type | 0666, device) == 0 ? chmod(name, 0666) : -1;
    };
  };
  auto fileOf = [](uid_t uid, mode_t mode) {
    return [=](const char* name) {
      test::writeFile(name, "precious");
      return chmod(name, mode) | chown(name, uid, 0);
    };
  };
  const struct {
    const char* what;
    std::function<int(const char*)> plant;
  } entries[] = {
      {"dangling link", linkTo(absent)},
      {"link to a file of root",
       [&](const char* name) { return victimOf(0, 0) | linkTo(victim)(name); }},
      {"link to a directory", linkTo(folder)},
      {"link to itself", [&](const char* name) { return symlink(name, name); }},
      {"hard link to a file of root", hardLinkOf(0)},
      {"hard link to a file of the account", hardLinkOf(account.uid)},
      {"file of another account", fileOf(stranger.uid, 0666)},
      {"file of the account", fileOf(account.uid, 0666)},
      {"file of root", fileOf(0, 0644)},
      {"fifo", nodeOf(S_IFIFO, 0)},
      {"directory", [](const char* name) { return mkdir(name, 0777); }},
      {"character device", nodeOf(S_IFCHR, makedev(1, 3))},
      {"block device", nodeOf(S_IFBLK, makedev(0, 99))},
      {"socket", nodeOf(S_IFSOCK, 0)},
  };
  for (const auto& entry : entries) {
    for (const Name& name : names()) {
      SCOPED_TRACE(entry.what + (" under " + name.suffix) + ", " + name.job);
      const std::string path = jobPath(name.suffix);
      if (entry.plant(path.c_str()) != 0) {
        ASSERT_EQ(errno, EPERM);  // device nodes, in some containers
        break;
      }
      struct stat before, after;
      ASSERT_EQ(lstat(path.c_str(), &before), 0);
      const bool replaced =
          !S_ISDIR(before.st_mode) && (name.cleared || before.st_uid == account.uid);
      plat::OwnedFd held(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));

      Result result = name.command.run();
      ASSERT_EQ(lstat(path.c_str(), &after), name.job == "named" && replaced ? -1 : 0);
      EXPECT_EQ(result.status, replaced ? 0 : 1) << result.err;
      EXPECT_EQ(server.receiveAtOnce(), replaced ? message() : "");
      std::vector<std::string> left = jobFiles();
      if (!replaced) {
        EXPECT_EQ(lastLine(result), "qolt: Error opening \"" + path + "\": File exists (17)");
        EXPECT_EQ(after.st_ino, before.st_ino);
        EXPECT_EQ(after.st_size, before.st_size);
        EXPECT_EQ(after.st_mode, before.st_mode);
        EXPECT_EQ(after.st_uid, before.st_uid);
        EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
        std::vector<std::string> expected = name.left;
        expected.push_back(path);
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(left, expected);
      } else if (name.job != "named") {
        EXPECT_EQ(after.st_mode, static_cast<mode_t>(S_IFREG | 0600));
        EXPECT_EQ(after.st_uid, account.uid);
      }
      char bytes[64];
      ssize_t count = held.get() < 0 ? 0 : read(held.get(), bytes, sizeof bytes);
      EXPECT_TRUE(count <= 0 || std::string(bytes, static_cast<size_t>(count)) == "precious");
      EXPECT_EQ(std::filesystem::exists(victim) ? test::readFile(victim) : "precious", "precious");
      EXPECT_FALSE(std::filesystem::exists(absent));
      EXPECT_TRUE(std::filesystem::is_empty(folder));
      // Not every machine lets the test make a device node.
      if (name.job == "raster" && name.suffix != ".ini" && !S_ISCHR(before.st_mode) &&
          !S_ISBLK(before.st_mode)) {
        test::print({"convert", "raster", entry.what + (" under " + path),
                     replaced ? "" : lastLine(result), result.status, left},
                    {{jobPath(""), "/tmp/qolt-JOB"}});
      }

      for (const std::string& file : jobFiles()) std::filesystem::remove(file);
      std::filesystem::remove(victim);
      EXPECT_EQ(name.command.run().status, 0);
      EXPECT_EQ(server.receive(), message());
      for (const std::string& file : jobFiles()) std::filesystem::remove(file);
    }
  }
}

// With an account whose private directory no other test uses.
class HostileServer : public HostileTmp {
 protected:
  void SetUp() override {
    HostileTmp::SetUp();
    if (!IsSkipped() && !third.found) GTEST_SKIP() << "needs a third account";
  }

  // Who is left out is as it should be.
  void expectJobOnlyIf(bool delivered, const std::string& fault, const std::string& failure,
                       test::FakeServer& server) {
    SCOPED_TRACE(fault);
    Command command = backend("PDF").input(text);
    command.environment.clear();
    Result result = command.env("DEVICE_URI", thirdUri).run();
    EXPECT_EQ(result.status, delivered ? 0 : 1) << result.err;
    EXPECT_EQ(server.receiveAtOnce(), delivered ? message() : "");
    EXPECT_EQ(jobFiles().empty(), !delivered);
    if (!delivered) {
      EXPECT_EQ(lastLine(result), "qolt: namedPipeCredCheck: uid mismatch" + failure);
      test::print({"check", "PDF", fault, lastLine(result), result.status, jobFiles()},
                  {{directory, "/tmp/.qolt-UID"}});
    }
    for (const std::string& path : jobFiles()) std::filesystem::remove(path);
  }

  const test::Account third = test::unprivilegedAccount(2);
  const std::string directory = "/tmp/.qolt-" + std::to_string(third.uid);
  const std::string thirdUri = "qolt:/PDF/" + std::to_string(third.uid) + "@" + endpoint;
};

TEST_F(HostileServer, onlyTheAccountAndRootAreToldOfAJob) {
  test::FakeServer server(third, endpoint);
  expectJobOnlyIf(true, "root listens", "", server);
  server.listenAs(third.uid);
  expectJobOnlyIf(true, "the account listens", "", server);
  server.listenAs(stranger.uid);
  expectJobOnlyIf(false, "another account listens", "", server);
}

TEST_F(HostileServer, onlyADirectoryOfTheAccountOrRootIsTrusted) {
  test::FakeServer server(third, endpoint);
  const std::string refused = " (" + directory + ")", moved = scratch / "moved";
  ASSERT_EQ(chmod(directory.c_str(), 0755), 0);
  for (uid_t owner : {uid_t{0}, third.uid}) {
    ASSERT_EQ(chown(directory.c_str(), owner, 0), 0);
    expectJobOnlyIf(true, "directory of " + std::to_string(owner), "", server);
  }
  ASSERT_EQ(rename(directory.c_str(), moved.c_str()) | symlink(moved.c_str(), directory.c_str()) |
                lchown(directory.c_str(), stranger.uid, 0),
            0);
  expectJobOnlyIf(false, "the private directory is a link", refused, server);
  ASSERT_EQ(unlink(directory.c_str()) | rename(moved.c_str(), directory.c_str()), 0);

  ASSERT_EQ(chown(directory.c_str(), stranger.uid, 0), 0);
  expectJobOnlyIf(false, "the private directory belongs to another account", refused, server);
}
