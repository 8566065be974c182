#include "base/plat/file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <thread>

#include "base/plat/Exception.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/thrownBy.h"

using namespace plat;

namespace {

constexpr uid_t someUser = 54321;
constexpr gid_t someGroup = 54322;

class FileTest : public testing::Test {
 protected:
  ~FileTest() override { umask(oldMask); }

  std::string at(const std::string& name) { return scratch / name; }
  std::string make(const std::string& name) {
    test::writeFile(at(name), "");
    return at(name);
  }
  std::string link(const std::string& target, const std::string& name) {
    EXPECT_EQ(0, symlink(target.c_str(), at(name).c_str()));
    return at(name);
  }
  void give(const std::string& path, uid_t user, mode_t mode) {
    ASSERT_EQ(0, chown(path.c_str(), user, someGroup));
    ASSERT_EQ(0, chmod(path.c_str(), mode));
  }
  static void expectOwned(const std::string& path, uid_t user, mode_t mode) {
    struct stat info {};
    EXPECT_EQ(0, lstat(path.c_str(), &info)) << path;
    EXPECT_EQ(mode, info.st_mode & 07777) << path;
    EXPECT_EQ(user, info.st_uid) << path;
    EXPECT_EQ(someGroup, info.st_gid) << path;
  }

  mode_t oldMask = umask(022);
  test::ScratchFolder scratch;
  const std::string dir = absolutePath(scratch.path().c_str()).get();
};

// The error number of the failure, or 0.
template <class Call>
int failureOf(Call call) {
  try {
    call();
  } catch (SystemException& e) {
    return e.err;
  }
  return 0;
}

}  // namespace

TEST_F(FileTest, mkDirMakesOrLeavesWhatExists) {
  give(dir, 0, 02755);  // hands its group down
  std::string shared = at("shared"), own = at("own"), file = make("file");
  EXPECT_TRUE(mkDir(shared.c_str(), false));
  EXPECT_TRUE(mkDir(own.c_str(), true));
  EXPECT_FALSE(mkDir(shared.c_str(), true));
  EXPECT_FALSE(mkDir(file.c_str(), true, true));
  expectOwned(shared, 0, 02755);
  expectOwned(own, 0, 02700);
  expectOwned(file, 0, 0644);
  give(shared, someUser, 01577);
  EXPECT_FALSE(mkDir(shared.c_str(), true, true));
  expectOwned(shared, geteuid(), 01500);
  give(dir, someUser, 03775);
  EXPECT_TRUE(mkDirMatchParent(at("child").c_str()));
  expectOwned(at("child"), someUser, 03775);

  std::string below = at("gone/below"), dangling = link("gone", "dangling");
  EXPECT_EQ(ENOENT, failureOf([&] { mkDir(below.c_str(), true); }));
  EXPECT_EQ(EEXIST, failureOf([&] { mkDir(dangling.c_str(), true); }));
}

TEST_F(FileTest, absolutePathResolvesLinksAndDots) {
  std::filesystem::create_directories(at("d/e"));
  make("d/f");
  link("d", "relative");
  link(at("d/e"), "absolute");
  link("loop", "loop");
  link("d/e", "chain1");
  for (int i = 2; i <= 21; i++) link("chain" + std::to_string(i - 1), "chain" + std::to_string(i));

  const char* good[][2] = {{"/./d//e/", "/d/e"},
                           {"/d/e/../f", "/d/f"},
                           {"/relative/f", "/d/f"},
                           {"/absolute/../f", "/d/f"},  // the parent of what the link means
                           {"/chain20", "/d/e"}};
  for (auto& [path, result] : good) {
    EXPECT_EQ(dir + result, absolutePath((dir + path).c_str()).orEmpty());
  }
  EXPECT_STREQ("/", absolutePath("/../.").get());

  const std::pair<const char*, int> bad[] = {
      {"/chain21", ELOOP}, {"/loop/x", ELOOP}, {"/d/f/..", ENOTDIR}, {"/gone/..", ENOENT}};
  for (auto& [tail, err] : bad) {
    std::string path = dir + tail;
    EXPECT_EQ(err, failureOf([&] { absolutePath(path.c_str()); })) << path;
  }
}

TEST_F(FileTest, makePrivateGivesAwayTheFileAndNothingBehindALink) {
  const std::pair<mode_t, mode_t> modes[] = {{0444, 0600}, {06755, 0600}};
  for (auto& [before, after] : modes) {
    SCOPED_TRACE(before);
    std::string file = make("file");
    give(file, 0, before);
    fileMakePrivate(file.c_str(), someUser);
    expectOwned(file, someUser, after);
  }
  std::string target = make("target"), planted = link("target", "planted");
  give(target, 0, 0644);
  EXPECT_EQ(ELOOP, failureOf([&] { fileMakePrivate(planted.c_str(), someUser); }));
  expectOwned(target, 0, 0644);
}

TEST_F(FileTest, attributesAndNames) {
  test::writeFile(at("file.txt"), "12345");
  const std::string file = at("file.txt"), other = make("other");
  give(file, someUser, 0640);
  EXPECT_EQ(5, fileGetSize(file.c_str()));
  fileSetTime(file.c_str(), unixEpochTicks + 5);
  EXPECT_EQ(unixEpochTicks + 5, fileGetTime(file.c_str()));
  give(other, someUser, 0);
  const int fd = fileOpenFd(other.c_str(), O_RDWR);
  fileCopyPerms(file.c_str(), fd);
  expectOwned(other, someUser, 0640);
  fileMakePrivate(fd, 0);
  expectOwned(other, 0, 0600);
  fileMakeSticky(other.c_str());
  expectOwned(other, 0, 01600);
  EXPECT_TRUE(fileIsSameAsFd(other.c_str(), fd));
  EXPECT_FALSE(fileIsSameAsFd(file.c_str(), fd));

  const int second = fileOpenFd(other.c_str(), O_RDWR);
  fileLock(fd, /*exclusive=*/true);
  EXPECT_EQ(-1, flock(second, LOCK_SH | LOCK_NB));
  fileUnlock(fd);
  EXPECT_EQ(0, flock(second, LOCK_SH | LOCK_NB));
  close(second);
  close(fd);

  EXPECT_EQ(dir + "/file-1.txt", uniqueFileName(dir.c_str(), "file.txt", "-", 1).get());
  EXPECT_EQ(dir + "/new", uniqueFileName(dir.c_str(), "new", "-", 0).get());
  EXPECT_THROW(uniqueFileName(dir.c_str(), "other", "-", 0), Exception);

  FILE* stream = fopen(file.c_str(), "r+");
  fputs("abc", stream);  // stays in its buffer
  EXPECT_EQ(3, fileTell(stream));
  fileTruncate(stream, 4);
  EXPECT_EQ("abc4", test::readFile(file));
  fileSeek(stream, -1, SEEK_END);
  EXPECT_EQ('4', getc(stream));
  EXPECT_EQ(4, fileTell(stream));
  fclose(stream);

  const String before = currentDir();
  chDir(dir.c_str());
  EXPECT_EQ(dir, currentDir().get());
  chDir(before.get());
}

TEST_F(FileTest, failureNamesTheCallAndItsArgument) {
  const struct {
    void (*call)(const char* missing);
    const char* text;  // "%" stands for the path
  } cases[] = {
      {[](auto path) { absolutePath(path); }, "realpath(%)"},
      {[](auto path) { rmDir(path); }, "rmDir(%)"},
      {[](auto path) { chDir(path); }, "chDir(%)"},
      {[](auto path) { fileGetSize(path); }, "fileGetSize(%)"},
      {[](auto path) { fileGetTime(path); }, "fileGetTime(%)"},
      {[](auto path) { fileSetTime(path, 0); }, "fileSetTime(%)"},
      {[](auto path) { fileOpenFd(path, O_RDONLY); }, "fileOpenFd(%)"},
      {[](auto path) { fileRemove(path); }, "fileRemove(%)"},
      {[](auto path) { fileRename(path, "x"); }, "fileRename(%,x)"},
      {[](auto path) { fileMakePrivate(path, 0); }, "fileMakePrivate/stat(%)"},
      {[](auto) { fileMakePrivate(-1, 0); }, "fileMakePrivate/fstat"},
      {[](auto path) { mkDir(path, true); }, "mkDir(%)"},
      {[](auto path) { mkDirMatchParent(path); }, "mkDirMatchParent/stat"},
      {[](auto path) { fileCopyPerms(path, -1); }, "fileCopyPerms/stat(%)"},
      {[](auto) { fileCopyPerms("/", -1); }, "fileCopyPerms/fchmod"},
      {[](auto path) { fileMakeSticky(path); }, "fileMakeSticky/stat(%)"},
      {[](auto path) { checkPermissions(path, {}); }, "stat(%)"},
      {[](auto path) { fileIsSameAsFd(path, -1); }, "fileIsSameAsFd/fstat"},
      {[](auto path) { fileIsSameAsFd(path, 2); }, "fileIsSameAsFd/stat(%)"},
      {[](auto) { fileTruncate(-1, 0); }, "fileTruncate()"},
      {[](auto) { fileTell(-1); }, "fileTell"},
      {[](auto) { fileSeek(-1, 0); }, "fileSeek"},
      {[](auto) { fileLock(-1); }, "fileLock"},
      {[](auto) { fileUnlock(-1); }, "fileUnlock"},
  };
  const std::string missing = at("gone/below");
  for (auto& c : cases) {
    std::string expected = c.text;
    if (size_t argument = expected.find('%'); argument != expected.npos) {
      expected.replace(argument, 1, missing);
    }
    auto call = [&] { c.call(missing.c_str()); };
    const SystemException error(expected.c_str(), failureOf(call));
    EXPECT_EQ(std::string(error.name) + ": " + error.message, fakes::thrownBy(call));
  }
}

TEST_F(FileTest, permissionsCountForTheFileAndForALinkToIt) {
  std::string file = make("file"), alias = link("file", "alias");
  auto passes = [](const std::string& path, std::initializer_list<uid_t> trusted) {
    try {
      checkPermissions(path.c_str(), trusted);
    } catch (Exception&) {
      return false;
    }
    return true;
  };
  EXPECT_TRUE(passes(file, {someUser, 0}));
  EXPECT_TRUE(passes(alias, {0}));
  EXPECT_FALSE(passes(file, {someUser}));
  for (mode_t bit : {0020, 0002}) {
    chmod(file.c_str(), 0600 | bit);
    EXPECT_FALSE(passes(file, {0})) << bit;
  }
  chmod(file.c_str(), 0755);
  ASSERT_EQ(0, lchown(alias.c_str(), someUser, someGroup));
  EXPECT_FALSE(passes(alias, {0}));
  EXPECT_TRUE(passes(alias, {0, someUser}));
}

TEST_F(FileTest, readFullyJoinsPiecesAndNoticesTheEnd) {
  int ends[2];
  ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
  std::thread writer([&] {
    const std::string sent(200000, 'x');  // more than a pipe holds
    EXPECT_EQ(static_cast<ssize_t>(sent.size()), write(ends[1], sent.data(), sent.size()));
    close(ends[1]);
  });
  std::string got(199999, 0);
  readFully(ends[0], got.data(), got.size());
  writer.join();
  EXPECT_EQ(std::string(199999, 'x'), got);
  EXPECT_THROW(readFully(ends[0], got.data(), 2), Exception);
  close(ends[0]);
}
