#include <gtest/gtest.h>
#include <sys/stat.h>

#include "base/rdr/FileInStream.h"
#include "base/rdr/FileOutStream.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/streams.h"

using namespace fakes;
using test::readFile;

namespace {

class FileStreams : public testing::Test {
 protected:
  test::ScratchFolder folder;
  const std::string path = folder / "file", other = folder / "other", missing = path + "/missing";
};

}  // namespace

TEST_F(FileStreams, replacedFileIsFinishedFirst) {
  const std::string bytes = patternBytes(40000);
  FILE* kept = fopen(other.c_str(), "w+e");
  {
    rdr::FileOutStream out(path.c_str(), plat::openPrivate);
    EXPECT_EQ(out.freeSpace(), INT_MAX);
    writeText(out, bytes);
    out.attach(kept, false);
    EXPECT_TRUE(readFile(path) == bytes);
    writeText(out, "two");
    out.open(path.c_str(), plat::openAppend);
    EXPECT_EQ(readFile(other), "two");
    writeText(out, ",more");
    out.flush();
    EXPECT_TRUE(readFile(path) == bytes + ",more");
    out.attach(kept, false);
    out.writeU8('!');
  }
  struct stat info;
  EXPECT_EQ(stat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0077, 0u);
  rewind(kept);
  rdr::FileInStream in(fopen(path.c_str(), "re"), true);
  EXPECT_TRUE(readText(in, 40000) == bytes);
  in.attach(kept, false);
  EXPECT_EQ(readText(in, 9), ",moretwo!");
  EXPECT_EQ(thrownBy([&] { in.readU8(); }), "EndOfStream: End of file");
  in.open(path.c_str(), 0);
  EXPECT_TRUE(readText(in, 40000) == bytes);
  EXPECT_EQ(fclose(kept), 0);
}

TEST_F(FileStreams, failuresAreToldButNotByTheDestructor) {
  const std::string diskFull = "System-28: writing to file failed: No space left on device (28)";
  rdr::FileOutStream full("/dev/full", 0), out("/dev/full", 0);
  full.writeU8('x');
  EXPECT_EQ(thrownBy([&] { full.flush(); }), diskFull);
  out.writeU8('x');
  EXPECT_EQ(thrownBy([&] { out.close(); }), diskFull);
  out.open(path.c_str(), 0);
  out.close();
  EXPECT_EQ(readFile(path), "") << "bytes of the failed file reached the next one";
  out.writeU8('x');
  EXPECT_EQ(thrownBy([&] { out.flush(); }),
            "System-9: writing to file failed: Bad file descriptor (9)");
  rdr::FileInStream in(folder.path().c_str(), 0), none(missing.c_str(), plat::openMayFail);
  EXPECT_EQ(thrownBy([&] { in.readU8(); }),
            "System-21: reading from file failed: Is a directory (21)");
  EXPECT_EQ(thrownBy([&] { none.readU8(); }),
            "System-9: reading from file failed: Bad file descriptor (9)");
  EXPECT_EQ(thrownBy([&] { rdr::FileOutStream refused(missing.c_str(), 0); }),
            "System-20: Error opening \"" + missing + "\": Not a directory (20)");
}
