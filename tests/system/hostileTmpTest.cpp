#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <functional>
#include <utility>

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

  // A name that a job uses, and that job. Under ".in" it creates the file as root, under the
  // others as the account.
  struct Name {
    std::string suffix, job;
    Command command;
    std::vector<std::string> left;  // besides it, when the job fails there
  };
  std::vector<Name> names() const {
    Command pages = backend("ZRLE"), named = backend("ZRLE", scratch / "document");
    library.use(pages).input(raster);
    library.use(named);
    const Command pdf = backend("PDF").input(text);
    return {{".in", "PDF", pdf, {}},          {".in", "named", named, {}},
            {"-0.zrle", "raster", pages, {}}, {"-1.zrle", "raster", pages, {jobPath("-0.zrle")}},
            {".ini", "PDF", pdf, {}},         {".ini", "raster", pages, {}}};
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

TEST_F(HostileTmp, foreignEntryUnderAJobFileNameFailsTheJobUntouched) {
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
  struct statvfs mounted;
  ASSERT_EQ(statvfs("/tmp", &mounted), 0);
  const bool noNodes = mounted.f_flag & ST_NODEV;
  int reader = -1;
  const std::string loop = "Too many levels of symbolic links (40)", exists = "File exists (17)",
                    noDevice = "No such device or address (6)", denied = "Permission denied (13)";
  const struct {
    const char* what;
    std::function<int(const char*)> plant;
    std::string reason;
    bool asRootToo = true;  // root takes a file of root for a leftover
  } entries[] = {
      {"dangling link", linkTo(absent), loop},
      {"link to a file of root",
       [&](const char* name) { return victimOf(0, 0) | linkTo(victim)(name); }, loop},
      {"link to a file of the account",
       [&](const char* name) { return victimOf(account.uid, account.gid) | linkTo(victim)(name); },
       loop},
      {"link to a directory", linkTo(folder), loop},
      {"link to itself", [&](const char* name) { return symlink(name, name); }, loop},
      {"hard link to a file of root", hardLinkOf(0), exists},
      {"hard link to a file of the account", hardLinkOf(account.uid), exists},
      {"file of another account", fileOf(stranger.uid, 0666), exists},
      {"file of root", fileOf(0, 0644), denied, false},
      {"fifo", nodeOf(S_IFIFO, 0), noDevice},
      {"fifo that is read",
       [&](const char* name) {
         int made = nodeOf(S_IFIFO, 0)(name);
         reader = open(name, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
         return made;
       },
       exists},
      {"directory", [](const char* name) { return mkdir(name, 0777); }, "Is a directory (21)"},
      {"character device", nodeOf(S_IFCHR, makedev(1, 3)), noNodes ? denied : exists},
      {"block device", nodeOf(S_IFBLK, makedev(0, 99)), noNodes ? denied : noDevice},
      {"socket", nodeOf(S_IFSOCK, 0), noDevice},
  };
  const std::vector<Name> all = names();
  for (const auto& entry : entries) {
    for (const Name& name : all) {
      if (name.suffix == ".in" && !entry.asRootToo) continue;
      SCOPED_TRACE(entry.what + (" under " + name.suffix) + ", " + name.job);
      const std::string path = jobPath(name.suffix);
      if (entry.plant(path.c_str()) != 0) {
        ASSERT_EQ(errno, EPERM);  // device nodes, in some containers
        break;
      }
      struct stat before, after;
      ASSERT_EQ(lstat(path.c_str(), &before), 0);

      Result result = name.command.run();
      EXPECT_EQ(result.status, 1);
      EXPECT_EQ(lastLine(result), "qolt: Error opening \"" + path + "\": " + entry.reason);
      EXPECT_EQ(server.receiveAtOnce(), "");
      ASSERT_EQ(lstat(path.c_str(), &after), 0);
      EXPECT_EQ(after.st_ino, before.st_ino);
      EXPECT_EQ(after.st_size, before.st_size);
      EXPECT_EQ(after.st_mode, before.st_mode);
      EXPECT_EQ(after.st_uid, before.st_uid);
      EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
      std::vector<std::string> left = name.left;
      left.push_back(path);
      std::sort(left.begin(), left.end());
      EXPECT_EQ(jobFiles(), left);
      EXPECT_EQ(std::filesystem::exists(victim) ? test::readFile(victim) : "precious", "precious");
      EXPECT_FALSE(std::filesystem::exists(absent));
      EXPECT_TRUE(std::filesystem::is_empty(folder));
      char byte;
      EXPECT_EQ(reader < 0 ? 0 : read(reader, &byte, 1), 0);
      // Not every machine lets the test make a device node.
      if (&name == &all.back() && !S_ISCHR(before.st_mode) && !S_ISBLK(before.st_mode)) {
        test::print({"any file", "all", entry.what, lastLine(result), result.status, {path}},
                    {{path, "FILE"}});
      }

      for (const std::string& file : jobFiles()) std::filesystem::remove(file);
      std::filesystem::remove(victim);
      if (reader >= 0) close(std::exchange(reader, -1));
      EXPECT_EQ(name.command.run().status, 0);
      EXPECT_EQ(server.receive(), message());
      for (const std::string& file : jobFiles()) std::filesystem::remove(file);
    }
  }
}

// A setting of the kernel, for the whole machine; goes back to what it was.
class KernelSetting {
 public:
  explicit KernelSetting(std::string newPath) : path(std::move(newPath)), before(get()) {}
  ~KernelSetting() { set(before); }

  std::string get() const { return test::readFile(path); }
  bool set(const std::string& value) {
    test::writeFile(path, value);
    return get() == value;
  }

 private:
  std::string path, before;
};

// Runs alone: opening a file of somebody else in /tmp with O_CREAT may fail meanwhile, for
// root too.
class HostileTmpMachineWide : public HostileTmp {};

TEST_F(HostileTmpMachineWide, leftoverOfAnEarlierJobIsReplacedWhateverTheKernelProtects) {
  test::FakeServer server(account, endpoint);
  KernelSetting protection("/proc/sys/fs/protected_regular");
  const std::string usual = protection.get();
  for (const std::string& value : {usual, std::string("0\n"), std::string("2\n")}) {
    if (!protection.set(value)) GTEST_SKIP() << "tested with fs.protected_regular " << usual;
    for (uid_t owner : {uid_t{0}, account.uid}) {
      for (const Name& name : names()) {
        if (name.suffix != ".in" && owner == 0) continue;  // see "file of root" above
        SCOPED_TRACE(name.suffix + " of " + std::to_string(owner) + ", protected: " + value);
        test::writeFile(jobPath(name.suffix), std::string(200000, 'o'));
        ASSERT_EQ(chown(jobPath(name.suffix).c_str(), owner, 0), 0);
        Result result = name.command.run();
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(server.receiveAtOnce(), message());
        for (const std::string& path : jobFiles()) {
          struct stat status;
          ASSERT_EQ(lstat(path.c_str(), &status), 0);
          EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFREG | 0600)) << path;
          EXPECT_LT(status.st_size, 100000) << path;
          EXPECT_EQ(status.st_uid, account.uid) << path;
          std::filesystem::remove(path);
        }
      }
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
