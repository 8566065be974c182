#include "base/plat/file.h"

#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "base/plat/FilePtr.h"
#include "base/plat/unix/OwnedFd.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/thrownBy.h"

using namespace plat;
using fakes::thrownBy;

namespace {

constexpr uid_t someUser = 54321;

std::string systemText(const std::string& text, int err) {
  const std::string number = std::to_string(err);
  return "System-" + number + ": " + text + ": " + strerror(err) + " (" + number + ")";
}

// What files hold, and what handles and paths lead to, is in fuzz/file.cpp.
class FileTest : public testing::Test {
 protected:
  ~FileTest() override { umask(oldMask); }

  std::string make(const std::string& name, const char* text = "") {
    test::writeFile(at / name, text);
    return at / name;
  }
  std::string link(const std::string& target, const std::string& name) {
    EXPECT_EQ(0, symlink(target.c_str(), (at / name).c_str()));
    return at / name;
  }
  // The group is 99.
  void give(const std::string& path, uid_t user, mode_t mode) {
    EXPECT_EQ(0, chown(path.c_str(), user, 99));
    EXPECT_EQ(0, chmod(path.c_str(), mode));
  }
  // "user:group mode"
  static std::string owned(const std::string& path) {
    struct stat info {};
    EXPECT_EQ(0, stat(path.c_str(), &info));
    char text[40];
    snprintf(text, sizeof text, "%u:%u %04o", info.st_uid, info.st_gid, info.st_mode & 07777);
    return text;
  }

  const mode_t oldMask = umask(022);
  const test::ScratchFolder at;
};

}  // namespace

TEST_F(FileTest, mkDirMakesOrLeavesWhatExists) {
  give(at.path(), 0, 02755);  // hands its group down
  const std::string shared = at / "shared", own = at / "own", file = make("file");
  EXPECT_TRUE(mkDir(shared.c_str(), false) && mkDir(own.c_str(), true));
  EXPECT_FALSE(mkDir(shared.c_str(), true) || mkDir(file.c_str(), true, true));
  EXPECT_EQ(owned(shared) + ", " + owned(own) + ", " + owned(file),
            "0:99 2755, 0:99 2700, 0:99 0644");
  give(shared, someUser, 01577);
  EXPECT_FALSE(mkDir(shared.c_str(), true, true));
  EXPECT_EQ(owned(shared), "0:99 1500");
  give(at.path(), someUser, 03775);
  for (bool isNew : {true, false}) EXPECT_EQ(mkDirMatchParent((at / "child").c_str()), isNew);
  EXPECT_EQ(owned(at / "child"), "54321:99 3775");
}

TEST_F(FileTest, absolutePathFollowsTwentyLinks) {
  const std::string dir = absolutePath(at.path().c_str()).get();
  link(std::string(4095, '/'), "1");
  for (int i = 2; i <= 21; i++) link(std::to_string(i - 1), std::to_string(i));
  EXPECT_STREQ("/", absolutePath((dir + "/20/../.").c_str()).get());
  EXPECT_EQ(thrownBy([&] { absolutePath((dir + "/21").c_str()); }),
            systemText("realpath(" + dir + "/21)", ELOOP));
  EXPECT_DEATH(absolutePath("d"), "Assertion 'path\\[0\\] == '/'' failed");
}

TEST_F(FileTest, ownersModesTimesAndLocks) {
  const std::string file = make("file"), other = make("other"), planted = link("file", "planted");
  for (mode_t mode : {0444, 06755}) {
    give(file, 0, mode);
    fileMakePrivate(file.c_str(), someUser);
    EXPECT_EQ(owned(file), "54321:99 0600");
  }
  EXPECT_EQ(thrownBy([&] { fileMakePrivate(planted.c_str(), 0); }),
            systemText("fileMakePrivate/stat(" + planted + ")", ELOOP));
  give(other, someUser, 0640);
  const OwnedFd fd(fileOpenFd(file.c_str(), O_RDWR)), again(fileOpenFd(file.c_str(), O_RDWR));
  EXPECT_EQ(FD_CLOEXEC, fcntl(fd.get(), F_GETFD));
  fileCopyPerms(other.c_str(), fd.get());
  EXPECT_EQ(owned(file), "54321:99 0640");
  fileMakePrivate(fd.get(), 0);
  fileMakeSticky(file.c_str());
  EXPECT_EQ(owned(file), "0:99 1600");
  EXPECT_TRUE(fileIsSameAsFd(file.c_str(), fd.get()) && !fileIsSameAsFd(other.c_str(), fd.get()));
  fileSetTime(file.c_str(), unixEpochTicks + 5);
  EXPECT_EQ(unixEpochTicks + 5, fileGetTime(file.c_str()));

  auto lockable = [&](int how) { return flock(again.get(), how | LOCK_NB) == 0; };
  fileLock(fd.get());
  EXPECT_FALSE(lockable(LOCK_SH));
  fileLock(fd.get(), /*exclusive=*/false);
  EXPECT_TRUE(!lockable(LOCK_EX) && lockable(LOCK_SH));
  fileUnlock(fd.get());
  EXPECT_TRUE(lockable(LOCK_EX));
}

TEST_F(FileTest, failureNamesTheCallAndItsArgument) {
  using Path = const char*;
  const struct {
    void (*call)(Path missing);
    const char* text;  // "%" stands for the path
    int err = ENOENT;
  } cases[] = {
      // clang-format off
      {[](Path) { char byte; readFully(-1, &byte, 1); }, "reading from file failed", EBADF},
      {[](Path) { fileMakePrivate(-1, 0); }, "fileMakePrivate/fstat", EBADF}, {[](Path p) { chDir(p); }, "chDir(%)"},
      {[](Path p) { fileIsSameAsFd(p, -1); }, "fileIsSameAsFd/fstat", EBADF},
      {[](Path) { fileCopyPerms("/", -1); }, "fileCopyPerms/fchmod", EBADF},
      {[](Path p) { fileMakePrivate(p, 0); }, "fileMakePrivate/stat(%)"},
      {[](Path p) { fileIsSameAsFd(p, 2); }, "fileIsSameAsFd/stat(%)"}, {[](Path) { fileTell(-1); }, "fileTell", EBADF},
      {[](Path p) { fileCopyPerms(p, -1); }, "fileCopyPerms/stat(%)"}, {[](Path) { fileLock(-1); }, "fileLock", EBADF},
      {[](Path p) { mkDirMatchParent(p); }, "mkDirMatchParent/stat"},
      {[](Path p) { fileMakeSticky(p); }, "fileMakeSticky/stat(%)"}, {[](Path p) { fileGetSize(p); }, "fileGetSize(%)"},
      {[](Path) { fileTruncate(-1, 0); }, "fileTruncate()", EBADF}, {[](Path p) { fileOpenFd(p, 0); }, "fileOpenFd(%)"},
      {[](Path p) { fileRename(p, "x"); }, "fileRename(%,x)"}, {[](Path p) { fileSetTime(p, 0); }, "fileSetTime(%)"},
      {[](Path p) { checkPermissions(p, {}); }, "stat(%)"}, {[](Path) { fileUnlock(-1); }, "fileUnlock", EBADF},
      {[](Path p) { fileGetTime(p); }, "fileGetTime(%)"}, {[](Path p) { mkDir(p, true, true); }, "mkDir(%)"},
  };  // clang-format on
  const std::string missing = at / "gone/below", endless = link("endless", "endless");
  for (const auto& c : cases) {
    std::string text = c.text;
    if (size_t argument = text.find('%'); argument != text.npos) text.replace(argument, 1, missing);
    EXPECT_EQ(thrownBy([&] { c.call(missing.c_str()); }), systemText(text, c.err));
  }
  EXPECT_EQ(thrownBy([&] { fileExists(endless.c_str()); }),
            systemText("fileExists(" + endless + ")", ELOOP));
  EXPECT_EQ(thrownBy([&] { mkDir(endless.c_str(), true); }),
            systemText("mkDir(" + endless + ")", EEXIST));
}

TEST_F(FileTest, permissionsCountForTheFileAndForALinkToIt) {
  const std::string file = make("file"), alias = link("file", "alias");
  auto passes = [](const std::string& path, std::initializer_list<uid_t> trusted) {
    const std::string thrown = thrownBy([&] { checkPermissions(path.c_str(), trusted); });
    if (thrown.empty()) return true;
    EXPECT_EQ(thrown, ": " + path + ": permissions are not restrictive enough");
    return false;
  };
  EXPECT_TRUE(passes(file, {someUser, 0}) && passes(alias, {0}) && !passes(file, {someUser}));
  EXPECT_EQ(0, lchown(alias.c_str(), someUser, 99));
  EXPECT_TRUE(!passes(alias, {0}) && !passes(alias, {someUser}) && passes(alias, {0, someUser}));
  for (mode_t mode : {0755, 0620, 0602}) {
    give(file, 0, mode);
    EXPECT_EQ(passes(file, {0}), mode == 0755);
  }
}

TEST(FilePtr, openingClosesWhatWasOpen) {
  FilePtr file;
  file.open("/dev/zero", FileMode::read);
  const int fd = fileno(file.get());
  file.open("-", FileMode::read);
  EXPECT_LT(fcntl(fd, F_GETFD), 0);
}

TEST(FilePtr, dashIsAStandardStreamThatStaysOpen) {
  FilePtr file(nullptr, true);
  testing::internal::CaptureStdout();
  file.open("-", FileMode::write);
  fputs("a", file.get());
  file.close();
  fputs("b", stdout);
  EXPECT_EQ("ab", testing::internal::GetCapturedStdout());
  file.open("-", FileMode::read);
  EXPECT_EQ(stdin, file.get());
  EXPECT_EQ(thrownBy([&] { file.open("-", FileMode::readWrite); }),
            ": Invalid mode for stdin/stdout");
}

TEST(FilePtr, failedWritesAreToldAtFlushAndClose) {
  CapturedLog log("FilePtr:captured:0");
  FILE* stream = nullptr;
  auto filled = [&](bool own) {
    FilePtr full(stream = fopen("/dev/full", "w+"), own);
    fputc('x', stream);
    return full;
  };
  const std::string atFlush = systemText("fflush", ENOSPC), atClose = systemText("fclose", ENOSPC);
  EXPECT_EQ(thrownBy([&] { filled(true).flush(); }), atFlush);
  EXPECT_EQ(thrownBy([&] { filled(true).readAll(1); }), atFlush);
  FilePtr file = filled(true);
  const int fd = fileno(stream);
  EXPECT_EQ(thrownBy([&] { file.close(); }), atClose);
  EXPECT_TRUE(!file.get() && fcntl(fd, F_GETFD) < 0);
  file = filled(false);
  EXPECT_EQ(thrownBy([&] { file.close(); }), atFlush);
  fclose(stream);
  log.take();
  filled(true);  // fails in the destructor, which must not throw
  EXPECT_EQ(log.take(), std::vector{"0 FilePtr " + atClose.substr(11)});
}
