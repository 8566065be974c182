#include "base/plat/FilePtr.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "base/plat/Exception.h"
#include "tests/support/ScratchFolder.h"

using namespace plat;

namespace {

class FilePtrTest : public testing::Test {
 protected:
  ~FilePtrTest() override { umask(oldMask); }
  void put(const char* text) {
    FilePtr out;
    out.open(path.c_str(), FileMode::write);
    fputs(text, out.get());
  }

  mode_t oldMask = umask(0);
  test::ScratchFolder dir;
  std::string path = dir / "file";
  FilePtr file;
};

}  // namespace

TEST_F(FilePtrTest, openFollowsModeAndFlags) {
  const struct {
    FileMode mode;
    int flags;
    const char* after;  // "old" with "N" written
    mode_t newMode;     // 0: a missing file is not made
  } cases[] = {
      {FileMode::write, openPrivate, "N", 0600},
      {FileMode::write, openAppend, "oldN", 0664},
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

TEST_F(FilePtrTest, writeFailuresAreSeenAtFlushAndClose) {
  auto filled = [] {
    FilePtr full;
    full.open("/dev/full", FileMode::write);
    fputc('x', full.get());
    return full;
  };
  EXPECT_THROW(filled().flush(), SystemException);
  FilePtr closed = filled();
  EXPECT_THROW(closed.close(), SystemException);
  EXPECT_EQ(nullptr, closed.get());
  filled();  // fails in the destructor, which must not throw
}

TEST_F(FilePtrTest, readAllReadsTheWholeFileWithinTheMaximum) {
  put("hello world");
  file.open(path.c_str(), FileMode::readWrite);
  fgetc(file.get());
  EXPECT_TRUE(file.readAll(11) ==
              MBuf<unsigned char>(reinterpret_cast<const unsigned char*>("hello world"), 11));
  EXPECT_THROW(file.readAll(10), Exception);
  fseek(file.get(), 0, SEEK_END);
  fputs("!!", file.get());  // what is still buffered counts
  EXPECT_EQ(13, file.readAll(INT_MAX).size());
  file.open(dir.path().c_str(), FileMode::read);
  EXPECT_THROW(file.readAll(INT_MAX), StdlibException);
}
