#include "apps/cups-qolt/jobFiles.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <memory>
#include <thread>

#include "base/plat/Exception.h"
#include "base/rdr/Exceptions.h"
#include "base/rdr/FdInStream.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/MemOutStream.h"
#include "tests/support/ScratchFolder.h"

TEST(TempFileSet, unlinksAtDestructionWhatItStillHolds) {
  test::ScratchFolder folder;
  for (const char* name : {"a", "b", "c", "d"}) test::writeFile(folder / name, "");
  {
    TempFileSet set;
    std::vector<plat::String> list;
    for (const char* name : {"d", "a"}) list.emplace_back((folder / name).c_str());
    set.insert("");
    set.insert((folder / "b").c_str());
    set.insert(list);
    set.insert((folder / "missing").c_str());
    set.insert((folder / "b").c_str());
    set.erase((folder / "b").c_str());
    set.erase("unknown");
    EXPECT_TRUE(std::filesystem::exists(folder / "a"));
  }
  EXPECT_FALSE(std::filesystem::exists(folder / "a"));
  EXPECT_TRUE(std::filesystem::exists(folder / "b"));
  EXPECT_TRUE(std::filesystem::exists(folder / "c"));
  EXPECT_FALSE(std::filesystem::exists(folder / "d"));
}

TEST(TempFileSet, sigtermUnlinksAndEndsTheProcessOnceNothingHoldsItBack) {
  test::ScratchFolder folder;
  test::writeFile(folder / "a", "");
  test::writeFile(folder / "released", "");
  pid_t child = fork();
  if (child == 0) {
    TempFileSet set;
    set.unlinkOnSigterm();
    set.insert((folder / "a").c_str());
    set.insert((folder / "released").c_str());
    {
      SigtermHold hold;
      raise(SIGTERM);
      set.erase((folder / "released").c_str());
      if (access((folder / "a").c_str(), F_OK) < 0) _exit(99);
    }
    _exit(98);
  }
  int status;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
  EXPECT_FALSE(std::filesystem::exists(folder / "a"));
  EXPECT_TRUE(std::filesystem::exists(folder / "released"));
}

TEST(copyStream, copiesWhateverFitsInTheBuffers) {
  for (size_t size : {0, 1, 16384, 16799, 16800, 16801, 33600, 100000}) {
    SCOPED_TRACE(size);
    std::string text(size, 'x');
    for (size_t i = 0; i < size; i++) text[i] = static_cast<char>(i * 7);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    std::thread writer([&] {
      EXPECT_EQ(write(ends[1], text.data(), size), static_cast<ssize_t>(size));
      close(ends[1]);
    });
    rdr::FdInStream in(ends[0]);
    in.setCloseOnDestroy(true);
    rdr::MemOutStream out;
    EXPECT_THROW(copyStream(in, out), rdr::EndOfStream);
    writer.join();
    ASSERT_EQ(out.length(), static_cast<int>(size));
    std::unique_ptr<uint8_t, decltype(&free)> bytes(out.takeBuffer(), &free);
    EXPECT_TRUE(size == 0 || !memcmp(bytes.get(), text.data(), size));
  }
}

TEST(copyStream, tellsAFullOutputFromAnInputThatHasNothingNow) {
  rdr::MemInStream in("12345", 5);
  rdr::MemOutStream full(4, 4);
  EXPECT_FALSE(copyStream(in, full));
  EXPECT_EQ(in.nUnread(), 1);

  int ends[2];
  ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
  rdr::FdInStream empty(ends[0]);
  empty.setCloseOnDestroy(true);
  empty.setNonBlocking(true);
  rdr::MemOutStream out;
  EXPECT_TRUE(copyStream(empty, out));
  close(ends[1]);
}

TEST(describeJob, listsTheDocumentsInOrder) {
  std::vector<plat::String> documents;
  EXPECT_STREQ(describeJob("a\nb", nullptr, "ZRLE", documents).get(),
               "[Document]\nName=a\nb\n[Device]\nDeviceName=(null)\n[ZRLE]\nCount=0\n");
  documents.emplace_back("/tmp/qolt-42-0.zrle");
  documents.emplace_back("/tmp/qolt-42-1.zrle");
  EXPECT_STREQ(describeJob("t", "q", "ZRLE", documents).get(),
               "[Document]\nName=t\n[Device]\nDeviceName=q\n[ZRLE]\nCount=2\n"
               "File0=/tmp/qolt-42-0.zrle\nFile1=/tmp/qolt-42-1.zrle\n");
}

TEST(createJobFile, fileThatCannotBeMadeLeavesTheSet) {
  test::ScratchFolder folder;
  test::writeFile(folder / "target", "precious");
  ASSERT_EQ(symlink((folder / "target").c_str(), (folder / "link").c_str()), 0);
  {
    TempFileSet set;
    EXPECT_THROW(createJobFile(set, (folder / "link").c_str(), geteuid()), plat::SystemException);
    try {
      createJobFile(set, (folder / "no/file").c_str(), geteuid());
      FAIL();
    } catch (const plat::SystemException& e) {
      EXPECT_EQ(e.err, ENOENT);
    }
  }
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
  EXPECT_EQ(test::readFile(folder / "target"), "precious");
}
