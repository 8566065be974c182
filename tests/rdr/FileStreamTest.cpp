#include <gtest/gtest.h>

#include "base/rdr/FileInStream.h"
#include "base/rdr/FileOutStream.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/streams.h"

using namespace fakes;
using test::readFile;

TEST(FileStreams, replacedFileIsFinishedFirst) {
  const test::ScratchFolder folder;
  const std::string path = folder / "file", other = folder / "other", bytes = patternBytes(40000);
  FILE* kept = fopen(other.c_str(), "w+e");
  {
    rdr::FileOutStream out(path.c_str(), 0);
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

TEST(FileStreams, failuresAreToldButNotByTheDestructor) {
  const test::ScratchFolder folder;
  const std::string path = folder / "file", toWrite = "writing to file failed: ",
                    toRead = "reading from file failed: ", none = "Bad file descriptor (9)";
  rdr::FileOutStream full("/dev/full", 0), out("/dev/full", 0);
  for (auto* each : {&full, &out}) each->writeU8('x');
  const std::string diskFull = "System-28: " + toWrite + "No space left on device (28)";
  EXPECT_EQ(thrownBy([&] { full.flush(); }), diskFull);
  EXPECT_EQ(thrownBy([&] { out.close(); }), diskFull);
  out.open(path.c_str(), 0);
  out.close();
  EXPECT_EQ(readFile(path), "") << "bytes of the failed file reached the next one";
  out.writeU8('x');
  EXPECT_EQ(thrownBy([&] { out.flush(); }), "System-9: " + toWrite + none);
  rdr::FileInStream in(folder.path().c_str(), 0), closed((path + "/").c_str(), plat::openMayFail);
  EXPECT_EQ(thrownBy([&] { in.readU8(); }), "System-21: " + toRead + "Is a directory (21)");
  EXPECT_EQ(thrownBy([&] { closed.readU8(); }), "System-9: " + toRead + none);
}
