#include <gtest/gtest.h>
#include <sys/stat.h>

#include "base/rdr/FileInStream.h"
#include "base/rdr/FileOutStream.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/streams.h"

using fakes::patternBytes;
using fakes::thrownBy;

namespace {

class FileStreams : public testing::Test {
 protected:
  test::ScratchFolder folder;
  const std::string path = folder / "file";
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
    }
    ASSERT_EQ(test::readFile(path), bytes);
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
  EXPECT_EQ(test::readFile(path), "one,two");
  const std::string missing = path + "/missing";
  EXPECT_EQ(thrownBy([&] { rdr::FileInStream in(missing.c_str(), 0); }),
            "System-20: Error opening \"" + missing + "\": Not a directory (20)");
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
  out.open(path.c_str(), 0);
  out.close();
  EXPECT_EQ(test::readFile(path), "") << "bytes of the failed file reached the next one";
}

TEST_F(FileStreams, replacedFileIsReadToTheEndOfWhatIsBuffered) {
  const std::string next = folder / "next";
  test::writeFile(path, "one");
  test::writeFile(next, "two");
  rdr::FileInStream in(fopen(path.c_str(), "re"), true);
  EXPECT_EQ(in.readU8(), 'o');
  in.attach(fopen(next.c_str(), "re"), true);
  char rest[6] = "";
  in.readBytes(rest, 5);
  EXPECT_STREQ(rest, "netwo");
}

TEST_F(FileStreams, readErrorIsNoEnd) {
  rdr::FileInStream in(folder.path().c_str(), 0);
  EXPECT_EQ(thrownBy([&] { in.readU8(); }),
            "System-21: reading from file failed: Is a directory (21)");
}
