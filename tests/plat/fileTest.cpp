#include "base/plat/file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>

#include "base/plat/FilePtr.h"
#include "base/plat/unix/OwnedFd.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/descriptors.h"
#include "tests/support/thrownBy.h"

using namespace plat;
using fakes::thrownBy;

namespace {

constexpr uid_t someUser = 54321;
constexpr gid_t someGroup = 54322;

std::string systemText(const std::string& text, int err) {
  const std::string number = std::to_string(err);
  return "System-" + number + ": " + text + ": " + strerror(err) + " (" + number + ")";
}

class FileTest : public testing::Test {
 protected:
  ~FileTest() override { umask(oldMask); }

  std::string at(const std::string& name) { return dir + "/" + name; }
  std::string make(const std::string& name, const char* text = "") {
    test::writeFile(at(name), text);
    return at(name);
  }
  std::string link(const std::string& target, const std::string& name) {
    EXPECT_EQ(0, symlink(target.c_str(), at(name).c_str()));
    return at(name);
  }
  void give(const std::string& path, uid_t user, mode_t mode) {
    EXPECT_EQ(0, lchown(path.c_str(), user, someGroup));
    EXPECT_EQ(0, chmod(path.c_str(), mode));
  }
  // "user:group mode", of a link itself.
  static std::string owned(const std::string& path) {
    struct stat info {};
    lstat(path.c_str(), &info);
    char text[40];
    snprintf(text, sizeof text, "%u:%u %04o", info.st_uid, info.st_gid, info.st_mode & 07777);
    return text;
  }
  static std::string readBack(FilePtr& file) {
    MBuf<unsigned char> bytes = file.readAll(13);
    return std::string(bytes.data(), bytes.data() + bytes.size());
  }

  mode_t oldMask = umask(022);
  test::ScratchFolder scratch;
  const std::string dir = absolutePath(scratch.path().c_str()).get();
};

}  // namespace

TEST_F(FileTest, mkDirMakesOrLeavesWhatExists) {
  give(dir, 0, 02755);  // hands its group down
  const std::string shared = at("shared"), own = at("own"), file = make("file");
  EXPECT_TRUE(mkDir(shared.c_str(), false) && mkDir(own.c_str(), true));
  EXPECT_FALSE(mkDir(shared.c_str(), true) || mkDir(file.c_str(), true, true));
  EXPECT_EQ(owned(shared), "0:54322 2755");
  EXPECT_EQ(owned(own), "0:54322 2700");
  EXPECT_EQ(owned(file), "0:54322 0644");
  give(shared, someUser, 01577);
  EXPECT_FALSE(mkDir(shared.c_str(), true, true));
  EXPECT_EQ(owned(shared), "0:54322 1500");
  give(dir, someUser, 03775);
  EXPECT_TRUE(mkDirMatchParent(at("child").c_str()));
  EXPECT_FALSE(mkDirMatchParent(at("child").c_str()));
  EXPECT_EQ(owned(at("child")), "54321:54322 3775");
  const std::string dangling = link("gone", "dangling");
  EXPECT_EQ(thrownBy([&] { mkDir(dangling.c_str(), true); }),
            systemText("mkDir(" + dangling + ")", EEXIST));
}

TEST_F(FileTest, absolutePathResolvesLinksAndDots) {
  std::filesystem::create_directories(at("d/e"));
  make("d/f");
  link("d", "relative");
  link(at("d/e"), "absolute");
  link("loop", "loop");
  link(std::string(4095, '/'), "long");
  link("d/e", "chain1");
  for (int i = 2; i <= 21; i++) link("chain" + std::to_string(i - 1), "chain" + std::to_string(i));
  const struct {
    const char* path;
    const char* result;
    int err;
  } cases[] = {{"/./d//e/", "/d/e", 0},       {"/d/e/../f/", "/d/f", 0},
               {"/d/.../x", nullptr, ENOENT}, {"/relative/f", "/d/f", 0},
               {"/absolute/../f", "/d/f", 0},  // the parent of what the link means
               {"/chain20", "/d/e", 0},       {"/chain21", nullptr, ELOOP},
               {"/loop/x", nullptr, ELOOP},   {"/d/f/..", nullptr, ENOTDIR},
               {"/gone/..", nullptr, ENOENT}};
  for (const auto& c : cases) {
    const std::string path = dir + c.path;
    const auto thrown =
        thrownBy([&] { EXPECT_EQ(dir + c.result, absolutePath(path.c_str()).get()); });
    EXPECT_EQ(thrown, c.err ? systemText("realpath(" + path + ")", c.err) : "");
  }
  EXPECT_STREQ("/", absolutePath("/../.").get());
  EXPECT_STREQ("/", absolutePath(at("long").c_str()).get());
  EXPECT_DEATH(absolutePath("d"), "Assertion 'path\\[0\\] == '/'' failed");
}

TEST_F(FileTest, makePrivateGivesAwayTheFileAndNothingBehindALink) {
  const std::string file = make("file"), planted = link("file", "planted");
  for (mode_t mode : {0444, 06755}) {
    give(file, 0, mode);
    fileMakePrivate(file.c_str(), someUser);
    EXPECT_EQ(owned(file), "54321:54322 0600");
  }
  EXPECT_EQ(thrownBy([&] { fileMakePrivate(planted.c_str(), 0); }),
            systemText("fileMakePrivate/stat(" + planted + ")", ELOOP));
  EXPECT_EQ(owned(file), "54321:54322 0600");
}

TEST_F(FileTest, attributesAndNames) {
  const std::string file = make("file.txt", "12345"), other = make("other");
  give(file, someUser, 0640);
  EXPECT_EQ(5, fileGetSize(file.c_str()));
  fileSetTime(file.c_str(), unixEpochTicks + 5);
  EXPECT_EQ(unixEpochTicks + 5, fileGetTime(file.c_str()));
  give(other, someUser, 0);
  const OwnedFd fd(fileOpenFd(other.c_str(), O_RDWR)), again(fileOpenFd(other.c_str(), O_RDWR));
  EXPECT_EQ(FD_CLOEXEC, fcntl(fd.get(), F_GETFD));
  fileCopyPerms(file.c_str(), fd.get());
  EXPECT_EQ(owned(other), "54321:54322 0640");
  fileMakePrivate(fd.get(), 0);
  EXPECT_EQ(owned(other), "0:54322 0600");
  fileMakeSticky(other.c_str());
  EXPECT_EQ(owned(other), "0:54322 1600");
  EXPECT_TRUE(fileIsSameAsFd(other.c_str(), fd.get()) && !fileIsSameAsFd(file.c_str(), fd.get()));

  auto lockable = [&](int how) { return flock(again.get(), how | LOCK_NB) == 0; };
  fileLock(fd.get());
  EXPECT_FALSE(lockable(LOCK_SH));
  fileLock(fd.get(), /*exclusive=*/false);
  EXPECT_TRUE(!lockable(LOCK_EX) && lockable(LOCK_SH));
  fileUnlock(fd.get());
  EXPECT_TRUE(lockable(LOCK_EX));

  make("file-1.txt");
  EXPECT_EQ(at("file-2.txt"), uniqueFileName(dir.c_str(), "file.txt", "-", 2).get());
  EXPECT_EQ(at("other_1"), uniqueFileName(dir.c_str(), "other", "_", 1).get());
  EXPECT_EQ(at("new"), uniqueFileName(dir.c_str(), "new", "-", 0).get());
  EXPECT_EQ(thrownBy([&] { uniqueFileName(dir.c_str(), "file.txt", "-", 1); }),
            ": Too many files with same name");

  FILE* stream = fopen(file.c_str(), "r+");
  fputs("abc", stream);  // stays in its buffer
  EXPECT_EQ(3, fileTell(stream));
  fileTruncate(stream, 4);
  EXPECT_EQ("abc4", test::readFile(file));
  fileSeek(stream, -1, SEEK_END);
  EXPECT_EQ('4', getc(stream));
  fileSeek(stream, 1);
  EXPECT_EQ('b', getc(stream));
  fclose(stream);
  fileTruncate(fd.get(), 9);
  fileSeek(fd.get(), -2, SEEK_END);
  EXPECT_EQ(7, fileTell(fd.get()));

  const String before = currentDir();
  chDir(dir.c_str());
  EXPECT_EQ(dir, currentDir().get());
  chDir(before.get());
  EXPECT_TRUE(fileExists(file.c_str()) && !fileExists(at("x").c_str()) &&
              !fileExists((file + "/x").c_str()));
  fileRename(file.c_str(), at("x").c_str());
  fileRemove(at("x").c_str());
  std::filesystem::create_directory(file);
  rmDir(file.c_str());
  EXPECT_FALSE(fileExists(file.c_str()) || fileExists(at("x").c_str()));
}

TEST_F(FileTest, failureNamesTheCallAndItsArgument) {
  const struct {
    void (*call)(const char* missing);
    const char* text;  // "%" stands for the path
    int err = ENOENT;
  } cases[] = {
      {[](auto path) { rmDir(path); }, "rmDir(%)"},
      {[](auto path) { chDir(path); }, "chDir(%)"},
      {[](auto path) { fileGetSize(path); }, "fileGetSize(%)"},
      {[](auto path) { fileGetTime(path); }, "fileGetTime(%)"},
      {[](auto path) { fileSetTime(path, 0); }, "fileSetTime(%)"},
      {[](auto path) { fileOpenFd(path, O_RDONLY); }, "fileOpenFd(%)"},
      {[](auto path) { fileRemove(path); }, "fileRemove(%)"},
      {[](auto path) { fileRename(path, "x"); }, "fileRename(%,x)"},
      {[](auto path) { fileMakePrivate(path, 0); }, "fileMakePrivate/stat(%)"},
      {[](auto path) { mkDir(path, true, true); }, "mkDir(%)"},
      {[](auto path) { mkDirMatchParent(path); }, "mkDirMatchParent/stat"},
      {[](auto path) { fileCopyPerms(path, -1); }, "fileCopyPerms/stat(%)"},
      {[](auto path) { fileMakeSticky(path); }, "fileMakeSticky/stat(%)"},
      {[](auto path) { checkPermissions(path, {}); }, "stat(%)"},
      {[](auto path) { fileIsSameAsFd(path, 2); }, "fileIsSameAsFd/stat(%)"},
      {[](auto path) { FilePtr().open(path, FileMode::readWrite); }, "Error opening \"%\""},
      {[](auto) { fileExists(std::string(5000, 'x').c_str()); }, "fileExists(xxxx", ENAMETOOLONG},
      {[](auto) { fileMakePrivate(-1, 0); }, "fileMakePrivate/fstat", EBADF},
      {[](auto) { fileCopyPerms("/", -1); }, "fileCopyPerms/fchmod", EBADF},
      {[](auto) { fileIsSameAsFd("/", -1); }, "fileIsSameAsFd/fstat", EBADF},
      {[](auto) { fileTruncate(-1, 0); }, "fileTruncate()", EBADF},
      {[](auto) { fileTell(-1); }, "fileTell", EBADF},
      {[](auto) { fileSeek(-1, 0); }, "fileSeek", EBADF},
      {[](auto) { fileLock(-1); }, "fileLock", EBADF},
      {[](auto) { fileUnlock(-1); }, "fileUnlock", EBADF},
      {[](auto) { readFully(-1, nullptr, 1); }, "reading from file failed", EBADF},
  };
  const std::string missing = at("gone/below");
  for (const auto& c : cases) {
    std::string text = c.text;
    if (size_t argument = text.find('%'); argument != text.npos) text.replace(argument, 1, missing);
    const std::string thrown = thrownBy([&] { c.call(missing.c_str()); });
    if (c.err == ENAMETOOLONG) {
      EXPECT_TRUE(thrown.starts_with("System-36: " + text)) << thrown;
    } else {
      EXPECT_EQ(thrown, systemText(text, c.err));
    }
  }
}

TEST_F(FileTest, permissionsCountForTheFileAndForALinkToIt) {
  const std::string file = make("file"), alias = link("file", "alias");
  auto passes = [](const std::string& path, std::initializer_list<uid_t> trusted) {
    const std::string thrown = thrownBy([&] { checkPermissions(path.c_str(), trusted); });
    EXPECT_EQ(thrown,
              thrown.empty() ? "" : ": " + path + ": permissions are not restrictive enough");
    return thrown.empty();
  };
  EXPECT_TRUE(passes(file, {someUser, 0}) && passes(alias, {0}) && !passes(file, {someUser}));
  for (mode_t mode : {0620, 0602}) {
    chmod(file.c_str(), mode);
    EXPECT_FALSE(passes(file, {0})) << mode;
  }
  give(file, 0, 0755);
  EXPECT_EQ(0, lchown(alias.c_str(), someUser, someGroup));
  EXPECT_TRUE(!passes(alias, {0}) && !passes(alias, {someUser}) && passes(alias, {0, someUser}));
}

TEST(file, readFullyJoinsPiecesAndNoticesTheEnd) {
  std::string sent;
  for (int i = 0; i < 40000; i++) sent += std::to_string(i);
  test::FedPipe pipe(sent, 999);
  std::string got(sent.size() - 1, 0);
  readFully(pipe.fd(), got.data(), got.size());
  EXPECT_EQ(got, sent.substr(0, got.size()));
  EXPECT_EQ(thrownBy([&] { readFully(pipe.fd(), got.data(), 2); }), ": End of file");
}

TEST_F(FileTest, filePtrOpensByModeAndFlags) {
  umask(0);
  const std::string path = at("file");
  const struct {
    FileMode mode;
    int flags;
    const char* after;    // "old" with "N" written
    const char* newFile;  // "0:0 0000": a missing file is not made
  } cases[] = {{FileMode::write, openPrivate, "N", "0:0 0600"},
               {FileMode::write, openAppend, "oldN", "0:0 0664"},
               {FileMode::readWrite, openCreate, "Nld", "0:0 0664"},
               {FileMode::readWrite, openTruncate | openPrivate, "N", "0:0 0600"},
               {FileMode::readWrite, 0, "Nld", "0:0 0000"}};
  FilePtr file;
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << static_cast<int>(c.mode) << " " << c.flags);
    unlink(path.c_str());
    file.open(path.c_str(), c.mode, c.flags | openMayFail);
    EXPECT_EQ(owned(path), c.newFile);
    EXPECT_EQ(file.get() != nullptr, owned(path) != "0:0 0000");
    make("file", "old");
    file.open(path.c_str(), c.mode, c.flags);
    EXPECT_EQ(FD_CLOEXEC, fcntl(fileno(file.get()), F_GETFD));
    fputc('N', file.get());
    if (c.mode == FileMode::write) file.open(path.c_str(), FileMode::read);
    EXPECT_EQ(readBack(file), c.after);
  }
  FilePtr moved(std::move(file)), closed;
  const int fd = fileno(moved.get());
  closed = std::move(moved);
  EXPECT_TRUE(!file.get() && !moved.get() && fcntl(fd, F_GETFD) >= 0);
  closed = FilePtr();
  EXPECT_EQ(-1, fcntl(fd, F_GETFD));
}

TEST_F(FileTest, filePtrOfADashIsAStandardStreamThatStaysOpen) {
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

TEST_F(FileTest, filePtrTellsOfFailedWritesAtFlushAndClose) {
  CapturedLog log("FilePtr:captured:0");
  FILE* stream = nullptr;
  auto filled = [&](bool own) {
    FilePtr full(stream = fopen("/dev/full", "w"), own);
    fputc('x', stream);
    return full;
  };
  const std::string atFlush = systemText("fflush", ENOSPC);
  EXPECT_EQ(thrownBy([&] { filled(true).flush(); }), atFlush);
  FilePtr owned = filled(true), borrowed;
  EXPECT_EQ(thrownBy([&] { owned.close(); }), systemText("fclose", ENOSPC));
  EXPECT_EQ(nullptr, owned.get());
  borrowed = filled(false);
  EXPECT_EQ(thrownBy([&] { borrowed.close(); }), atFlush);
  fclose(stream);
  log.take();
  filled(true);  // fails in the destructor, which must not throw
  EXPECT_EQ(log.take(), std::vector{"0 FilePtr " + systemText("fclose", ENOSPC).substr(11)});
}

TEST_F(FileTest, filePtrReadsTheWholeFileWithinTheMaximum) {
  FilePtr file;
  file.open(make("file", "hello world").c_str(), FileMode::readWrite);
  fgetc(file.get());
  EXPECT_EQ(readBack(file), "hello world");
  fseek(file.get(), 0, SEEK_END);
  fputs("!!", file.get());  // what is still buffered counts
  EXPECT_EQ(readBack(file), "hello world!!");
  EXPECT_EQ(thrownBy([&] { file.readAll(12); }), ": Error: file is too large (13 > 12)");
  for (const auto& [path, err] : {std::pair(make("empty"), 0), {dir, EISDIR}}) {
    file.open(path.c_str(), FileMode::read);
    EXPECT_EQ(thrownBy([&] { file.readAll(INT_MAX); }),
              systemText("Reading from file failed", err));
  }
}
