#include "base/plat/file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include "base/plat/Exception.h"

using namespace plat;

namespace {

constexpr uid_t someUser = 54321;
constexpr gid_t someGroup = 54322;

class FileTest : public testing::Test {
 protected:
  void SetUp() override {
    oldMask = umask(022);
    char name[] = "/tmp/filetest-XXXXXX";
    ASSERT_TRUE(mkdtemp(name));
    dir = absolutePath(name).get();
  }
  void TearDown() override {
    umask(oldMask);
    std::filesystem::remove_all(dir);
  }

  std::string at(const std::string& name) { return dir + "/" + name; }
  std::string make(const std::string& name, const char* text = "") {
    std::ofstream(at(name)) << text;
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

  std::string dir;
  mode_t oldMask = 0;
};

void expectFailure(const std::string& message, int err, const std::function<void()>& call) {
  try {
    call();
    ADD_FAILURE() << message << " did not fail";
  } catch (SystemExceptionFmt& e) {
    EXPECT_STREQ(SystemException(message.c_str(), err).message, e.message);
  }
}

}  // namespace

TEST_F(FileTest, failuresNameTheCallAndItsArgument) {
  std::string gone = at("gone");
  const char* g = gone.c_str();
  auto missing = [&](const char* call, const std::function<void()>& run) {
    expectFailure(call + ("(" + gone + ")"), ENOENT, run);
  };
  missing("rmDir", [&] { rmDir(g); });
  missing("chDir", [&] { chDir(g); });
  missing("realpath", [&] { absolutePath(g); });
  missing("fileGetSize", [&] { fileGetSize(g); });
  missing("fileGetTime", [&] { fileGetTime(g); });
  missing("fileSetTime", [&] { fileSetTime(g, 0); });
  missing("fileOpenFd", [&] { fileOpenFd(g, O_RDONLY); });
  missing("fileRemove", [&] { fileRemove(g); });
  missing("fileMakePrivate/stat", [&] { fileMakePrivate(g, 0); });
  missing("fileMakeSticky/stat", [&] { fileMakeSticky(g); });
  missing("fileCopyPerms/stat", [&] { fileCopyPerms(g, 0); });
  missing("fileIsSameAsFd/stat", [&] { fileIsSameAsFd(g, 0); });
  missing("stat", [&] { checkPermissions(g, {0}); });
  expectFailure("fileRename(" + gone + ",/x)", ENOENT, [&] { fileRename(g, "/x"); });
  expectFailure("mkDirMatchParent/stat", ENOENT, [&] { mkDirMatchParent(at("gone/x").c_str()); });
  expectFailure("reading from file failed", EBADF, [&] { readFully(-1, gone.data(), 1); });
}

TEST_F(FileTest, existenceIsDoubtfulOnlyForOtherErrors) {
  std::string file = make("file"), loop = link("loop", "loop");
  EXPECT_TRUE(fileExists(file.c_str()));
  EXPECT_FALSE(fileExists(at("gone").c_str()));
  EXPECT_FALSE(fileExists((file + "/below").c_str()));
  expectFailure("fileExists(" + loop + ")", ELOOP, [&] { fileExists(loop.c_str()); });
}

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

  std::string below = at("gone/below"), dangling = link("gone", "dangling");
  expectFailure("mkDir(" + below + ")", ENOENT, [&] { mkDir(below.c_str(), true); });
  expectFailure("mkDir(" + dangling + ")", EEXIST, [&] { mkDir(dangling.c_str(), true); });
}

TEST_F(FileTest, mkDirMatchParentTakesOwnerGroupAndMode) {
  give(dir, someUser, 03775);
  EXPECT_TRUE(mkDirMatchParent(at("child").c_str()));
  expectOwned(at("child"), someUser, 03775);
  EXPECT_FALSE(mkDirMatchParent(at("child").c_str()));
}

TEST_F(FileTest, absolutePathResolvesLinksAndDots) {
  std::filesystem::create_directories(at("d/e"));
  make("d/f");
  link("d", "relative");
  link(at("d/e"), "absolute");
  link("../relative/e", "d/up");
  link("loop", "loop");
  link("d/e", "chain1");
  for (int i = 2; i <= 21; i++) link("chain" + std::to_string(i - 1), "chain" + std::to_string(i));

  const char* good[][2] = {{"/d", "/d"},
                           {"/./d//e/", "/d/e"},
                           {"/d/e/../f", "/d/f"},
                           {"/relative/f", "/d/f"},
                           {"/absolute/../f", "/d/f"},  // the parent of what the link means
                           {"/d/up/..", "/d"},
                           {"/chain20", "/d/e"}};
  for (auto& [path, result] : good) {
    EXPECT_EQ(dir + result, absolutePath((dir + path).c_str()).orEmpty());
  }
  EXPECT_STREQ("/", absolutePath("/../.").get());

  const std::pair<const char*, int> bad[] = {{"/chain21", ELOOP}, {"/loop/x", ELOOP},
                                             {"/d/f/x", ENOTDIR}, {"/d/f/..", ENOTDIR},
                                             {"/d/gone", ENOENT}, {"/gone/..", ENOENT}};
  for (auto& [tail, err] : bad) {
    std::string path = dir + tail;
    expectFailure("realpath(" + path + ")", err, [&] { absolutePath(path.c_str()); });
  }
  EXPECT_DEATH(absolutePath("d"), "Assertion 'path\\[0\\] == '/'' failed");
}

TEST_F(FileTest, makePrivateGivesAwayTheFileAndNothingBehindALink) {
  const std::pair<mode_t, mode_t> modes[] = {{0644, 0600}, {0444, 0600}, {06755, 0700}, {0, 0600}};
  for (auto& [before, after] : modes) {
    SCOPED_TRACE(before);
    std::string named = make("named"), opened = make("opened");
    give(named, 0, before);
    give(opened, 0, before);
    fileMakePrivate(named.c_str(), someUser);
    int fd = fileOpenFd(opened.c_str(), O_RDONLY);
    fileMakePrivate(fd, someUser);
    close(fd);
    expectOwned(named, someUser, after);
    expectOwned(opened, someUser, after);
  }
  std::string target = make("target"), planted = link("target", "planted");
  give(target, 0, 0644);
  expectFailure("fileMakePrivate/stat(" + planted + ")", ELOOP,
                [&] { fileMakePrivate(planted.c_str(), someUser); });
  expectOwned(target, 0, 0644);
}

TEST_F(FileTest, permissionsCountForTheFileAndForALinkToIt) {
  std::string file = make("file"), alias = link("file", "alias");
  auto passes = [](const std::string& path, std::initializer_list<uid_t> trusted) {
    try {
      checkPermissions(path.c_str(), trusted);
      return true;
    } catch (Exception& e) {
      EXPECT_EQ(path + ": permissions are not restrictive enough", e.message);
      return false;
    }
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
  EXPECT_FALSE(passes(alias, {someUser}));
}

TEST_F(FileTest, positionsAndSizesPassFourGigabytes) {
  std::string path = make("file");
  const S64 far = 5'000'000'000;
  FILE* file = fopen(path.c_str(), "r+");
  ASSERT_TRUE(file);
  fputs("abc", file);
  fileTruncate(file, far);
  fileSeek(file, -1, SEEK_END);
  EXPECT_EQ(far - 1, fileTell(file));
  EXPECT_EQ(far, fileGetSize(path.c_str()));
  char text[2];
  fileSeek(fileno(file), 1);
  readFully(fileno(file), text, 2);
  EXPECT_EQ("bc", std::string(text, 2));
  EXPECT_EQ(3, fileTell(fileno(file)));
  fclose(file);
}

TEST_F(FileTest, lockExcludesAnotherOpenOfTheFile) {
  std::string path = make("file");
  int holder = fileOpenFd(path.c_str(), O_RDONLY), other = fileOpenFd(path.c_str(), O_RDONLY);
  EXPECT_TRUE(fcntl(holder, F_GETFD) & FD_CLOEXEC);
  fileLock(holder);
  EXPECT_EQ(-1, flock(other, LOCK_SH | LOCK_NB));
  fileUnlock(holder);
  EXPECT_EQ(0, flock(other, LOCK_EX | LOCK_NB));
  close(holder);
  close(other);
}

TEST_F(FileTest, uniqueNameCountsUpToItsLimit) {
  auto unique = [&](const char* name, int limit) {
    return std::string(uniqueFileName(dir.c_str(), name, "-", limit).orEmpty());
  };
  EXPECT_EQ(at("a.b.txt"), unique("a.b.txt", 0));
  for (const char* name : {"a.b.txt", "a.b-1.txt", "plain"}) make(name);
  EXPECT_EQ(at("a.b-2.txt"), unique("a.b.txt", 2));
  EXPECT_EQ(at("plain-1"), unique("plain", INT_MAX));
  try {
    unique("a.b.txt", 1);
    FAIL();
  } catch (Exception& e) {
    EXPECT_STREQ("Too many files with same name", e.message);
  }
}

TEST_F(FileTest, readFullyJoinsPiecesAndNoticesTheEnd) {
  int ends[2];
  ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
  std::string sent(200000, 'x');  // more than a pipe holds
  sent += "end";
  std::thread writer([&] {
    EXPECT_EQ(static_cast<ssize_t>(sent.size()), write(ends[1], sent.data(), sent.size()));
    close(ends[1]);
  });
  std::string got(sent.size() - 1, 0);
  readFully(ends[0], got.data(), got.size());
  EXPECT_TRUE(sent.substr(0, got.size()) == got);
  writer.join();
  EXPECT_THROW(readFully(ends[0], got.data(), 2), Exception);
  close(ends[0]);
}
