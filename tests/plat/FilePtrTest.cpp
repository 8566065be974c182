#include "base/plat/FilePtr.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>

#include "base/plat/Exception.h"

using namespace plat;

namespace {

class FilePtrTest : public testing::Test {
 protected:
  void SetUp() override {
    oldMask = umask(0);
    ASSERT_TRUE(mkdtemp(dir));
    path = std::string(dir) + "/file";
  }
  void TearDown() override {
    umask(oldMask);
    std::filesystem::remove_all(dir);
  }
  void put(const char* text) {
    FilePtr out;
    out.open(path.c_str(), FileMode::write);
    fputs(text, out.get());
  }

  char dir[32] = "/tmp/fileptr-XXXXXX";
  std::string path;
  mode_t oldMask = 0;
  FilePtr file;
};

void expectFailure(const std::string& message, int err, const std::function<void()>& call) {
  try {
    call();
    ADD_FAILURE() << message << " did not fail";
  } catch (SystemException& e) {
    EXPECT_STREQ(SystemException(message.c_str(), err).message, e.message);
  }
}

}  // namespace

TEST_F(FilePtrTest, openFollowsModeAndFlags) {
  const struct {
    FileMode mode;
    int flags;
    const char* after;  // "old" with "N" written
    mode_t newMode;     // 0: a missing file is not made
  } cases[] = {
      {FileMode::write, 0, "N", 0664},
      {FileMode::write, openPrivate, "N", 0600},
      {FileMode::write, openAppend, "oldN", 0664},
      {FileMode::readWrite, openTruncate | openPrivate, "N", 0600},
      {FileMode::readWrite, openCreate, "Nld", 0664},
      {FileMode::readWrite, 0, "Nld", 0},
  };
  for (auto& c : cases) {
    SCOPED_TRACE(testing::Message() << static_cast<int>(c.mode) << " " << c.flags);
    unlink(path.c_str());
    file.open(path.c_str(), c.mode, c.flags | openMayFail);
    struct stat info {};
    stat(path.c_str(), &info);
    EXPECT_EQ(c.newMode, info.st_mode & 07777);
    EXPECT_EQ(c.newMode != 0, file.get() != nullptr);
    put("old");
    file.open(path.c_str(), c.mode, c.flags);
    EXPECT_TRUE(fcntl(fileno(file.get()), F_GETFD) & FD_CLOEXEC);
    fputc('N', file.get());
    file.open(path.c_str(), FileMode::read);
    MBuf<unsigned char> bytes = file.readAll(100);
    EXPECT_EQ(c.after, std::string(bytes.data(), bytes.data() + bytes.size()));
  }
}

TEST_F(FilePtrTest, failedOpenNamesTheFileOrLeavesTheHandleEmpty) {
  expectFailure("Error opening \"" + path + "\"", ENOENT,
                [&] { file.open(path.c_str(), FileMode::read); });
  file.open("/dev/null", FileMode::read);
  file.open(path.c_str(), FileMode::read, openMayFail);
  EXPECT_EQ(nullptr, file.get());
}

TEST_F(FilePtrTest, dashIsAStandardStreamAndStaysOpen) {
  file.open("-", FileMode::read);
  EXPECT_EQ(stdin, file.get());
  file.open("-", FileMode::write);
  EXPECT_EQ(stdout, file.get());
  FilePtr moved(std::move(file));
  moved.close();
  EXPECT_NE(-1, fcntl(STDOUT_FILENO, F_GETFD));
  EXPECT_THROW(file.open("-", FileMode::readWrite), Exception);
}

TEST_F(FilePtrTest, writeFailuresAreSeenAtFlushAndClose) {
  auto filled = [] {
    FilePtr full;
    full.open("/dev/full", FileMode::write);
    fputc('x', full.get());
    return full;
  };
  FilePtr flushed = filled();
  expectFailure("fflush", ENOSPC, [&] { flushed.flush(); });
  FilePtr closed = filled();
  expectFailure("fclose", ENOSPC, [&] { closed.close(); });
  EXPECT_EQ(nullptr, closed.get());
  filled();  // fails in the destructor, which must not throw
}

TEST_F(FilePtrTest, movingClosesTheReplacedFile) {
  FilePtr other;
  file.open("/dev/null", FileMode::read);
  other.open("/dev/null", FileMode::read);
  int replaced = fileno(file.get());
  FILE* taken = other.get();
  file = std::move(other);
  EXPECT_EQ(taken, file.get());
  EXPECT_EQ(nullptr, other.get());
  EXPECT_EQ(-1, fcntl(replaced, F_GETFD));
}

TEST_F(FilePtrTest, readAllReadsTheWholeFileWithinTheMaximum) {
  put("hello world");
  file.open(path.c_str(), FileMode::readWrite);
  fgetc(file.get());
  EXPECT_TRUE(file.readAll(11) ==
              MBuf<unsigned char>(reinterpret_cast<const unsigned char*>("hello world"), 11));
  try {
    file.readAll(10);
    FAIL();
  } catch (Exception& e) {
    EXPECT_STREQ("Error: file is too large (11 > 10)", e.message);
  }
  fseek(file.get(), 0, SEEK_END);
  fputs("!!", file.get());  // what is still buffered counts
  EXPECT_EQ(13, file.readAll(INT_MAX).size());

  put("");
  file.open(path.c_str(), FileMode::read);
  expectFailure("Reading from file failed", 0, [&] { file.readAll(10); });
  file.open(dir, FileMode::read);
  EXPECT_THROW(file.readAll(INT_MAX), StdlibException);
}
