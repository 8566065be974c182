#include "apps/cups-qolt/jobFiles.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
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
  std::filesystem::create_directory(folder / "folder");
  for (auto& [name, error] : {std::pair{"folder", EEXIST}, {"no/file", ENOENT}}) {
    TempFileSet set;
    try {
      createJobFile(set, (folder / name).c_str());
      FAIL();
    } catch (const plat::SystemException& e) {
      EXPECT_EQ(e.err, error);
    }
  }
  EXPECT_TRUE(std::filesystem::is_directory(folder / "folder"));
}

// Whoever held the earlier entry open used to read, and could change, the document.
TEST(createJobFile, isANewFileWhateverHadItsName) {
  test::ScratchFolder folder;
  const std::string path = folder / "file", target = folder / "target";
  umask(077);
  for (const char* kind : {"file", "link", "dangling", "hard link", "fifo"}) {
    SCOPED_TRACE(kind);
    test::writeFile(target, "precious");
    if (!strcmp(kind, "file")) test::writeFile(path, "earlier");
    if (!strcmp(kind, "link")) std::filesystem::create_symlink(target, path);
    if (!strcmp(kind, "dangling")) std::filesystem::create_symlink(folder / "absent", path);
    if (!strcmp(kind, "hard link")) std::filesystem::create_hard_link(target, path);
    if (!strcmp(kind, "fifo")) mkfifo(path.c_str(), 0666);
    plat::OwnedFd held(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    {
      TempFileSet set;
      plat::FilePtr file = createJobFile(set, path.c_str());
      fputs("document", file.get());
      fflush(file.get());
      struct stat made;
      ASSERT_EQ(lstat(path.c_str(), &made), 0);
      EXPECT_EQ(made.st_mode, static_cast<mode_t>(S_IFREG | 0600));
      EXPECT_EQ(test::readFile(path), "document");
    }
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(test::readFile(target), "precious");
    EXPECT_FALSE(std::filesystem::exists(folder / "absent"));
    char bytes[8] = "";
    ssize_t count = held.get() < 0 ? 0 : read(held.get(), bytes, sizeof bytes);
    EXPECT_FALSE(count > 0 && !strncmp(bytes, "document", 8));
  }
}
