#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "base/rdr/FileInStream.h"
#include "base/rdr/FileOutStream.h"
#include "tests/support/streams.h"

using fakes::patternBytes;
using fakes::thrownBy;

namespace {

class FileStreams : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(mkdtemp(folder), nullptr);
    path = std::string(folder) + "/file";
  }
  void TearDown() override {
    unlink(path.c_str());
    rmdir(folder);
  }
  std::string content() const {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
  }

  char folder[32] = "/tmp/rdr-file-XXXXXX";
  std::string path;
};

const std::string diskFull = "System-28: writing to file failed: No space left on device (28)";

}  // namespace

TEST_F(FileStreams, whatIsWrittenIsReadBack) {
  for (size_t length : {0, 1, 16383, 16384, 16385, 16800, 100001}) {
    SCOPED_TRACE(length);
    const std::string bytes = patternBytes(length);
    {
      rdr::FileOutStream out(path.c_str(), 0);
      for (size_t done = 0; done < length; done += 700) {
        out.writeBytes(bytes.data() + done, static_cast<int>(std::min<size_t>(700, length - done)));
      }
      EXPECT_EQ(out.length(), static_cast<int>(length));
      EXPECT_EQ(out.freeSpace(), INT_MAX);
    }
    ASSERT_EQ(content(), bytes);
    rdr::FileInStream in(path.c_str(), 0);
    std::string copy(length, '\0');
    in.readBytes(copy.data(), static_cast<int>(length));
    EXPECT_EQ(copy, bytes);
    EXPECT_EQ(thrownBy([&] { in.readU8(); }), "EndOfStream: End of file");
  }
}

TEST_F(FileStreams, flagsChooseAppendingModeAndFailure) {
  const mode_t former = umask(022);
  rdr::FileOutStream(path.c_str(), plat::openPrivate).writeBytes("one,", 4);
  umask(former);
  struct stat info;
  ASSERT_EQ(stat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  rdr::FileOutStream(path.c_str(), plat::openAppend).writeBytes("two", 3);
  EXPECT_EQ(content(), "one,two");
  const std::string missing = path + "/missing";
  EXPECT_EQ(thrownBy([&] { rdr::FileInStream in(missing.c_str(), 0); }),
            "System-20: Error opening \"" + missing + "\": Not a directory (20)");
  rdr::FileOutStream none(missing.c_str(), plat::openMayFail);
  EXPECT_EQ(none.getFile(), nullptr);
}

TEST_F(FileStreams, streamWithoutAFileKeepsItsBytesForTheNext) {
  rdr::FileOutStream out(nullptr, 0);
  out.writeBytes("kept", 4);
  EXPECT_THROW(out.flush(), plat::StdlibException);
  out.open(path.c_str(), 0);
  out.writeU8('!');
  out.close();
  EXPECT_EQ(content(), "kept!");
  rdr::FileInStream in(nullptr, 0);
  EXPECT_EQ(thrownBy([&] { in.readU8(); }),
            "System-9: reading from file failed: Bad file descriptor (9)");
  in.open(path.c_str(), 0);
  EXPECT_EQ(in.readU8(), 'k');
}

TEST_F(FileStreams, replacedFileGetsWhatWasWrittenToIt) {
  FILE* borrowed = tmpfile();
  ASSERT_NE(borrowed, nullptr);
  {
    rdr::FileOutStream out(path.c_str(), 0);
    out.writeBytes("first", 5);
    out.attach(borrowed, false);
    EXPECT_EQ(content(), "first");
    out.writeBytes("second", 6);
  }
  rewind(borrowed);
  rdr::FileInStream in(borrowed, true);
  char text[6];
  in.readBytes(text, 6);
  EXPECT_EQ(std::string(text, 6), "second");
}

TEST_F(FileStreams, flushedBytesAreInTheFile) {
  rdr::FileOutStream named(path.c_str(), 0), owned(fopen(path.c_str(), "a"), true);
  named.writeBytes("named,", 6);
  named.flush();
  owned.writeBytes("owned", 5);
  owned.flush();
  EXPECT_EQ(content(), "named,owned");
}

TEST_F(FileStreams, fullDiskIsToldByFlushAndCloseButNotByTheDestructor) {
  {
    rdr::FileOutStream out("/dev/full", 0);
    out.writeU8('x');
    EXPECT_EQ(thrownBy([&] { out.flush(); }), diskFull);
    EXPECT_EQ(thrownBy([&] { out.writeBytes(patternBytes(20000).data(), 20000); }), diskFull);
  }
  rdr::FileOutStream out("/dev/full", 0);
  out.writeU8('x');
  EXPECT_EQ(thrownBy([&] { out.close(); }), diskFull);
  EXPECT_EQ(out.getFile(), nullptr);
  out.open(path.c_str(), 0);
  out.close();
  EXPECT_EQ(content(), "") << "bytes of the failed file reached the next one";

  // A borrowed file keeps stdio's buffer: the failure comes late.
  FILE* borrowed = fopen("/dev/full", "w");
  rdr::FileOutStream wrapped(borrowed, false);
  wrapped.writeU8('x');
  wrapped.flush();
  EXPECT_EQ(thrownBy([&] { wrapped.close(); }), "System-28: fflush: No space left on device (28)");
  fclose(borrowed);
}

TEST_F(FileStreams, readErrorIsNoEnd) {
  rdr::FileInStream in(folder, 0);
  EXPECT_EQ(thrownBy([&] { in.readU8(); }),
            "System-21: reading from file failed: Is a directory (21)");
}
