#include "apps/cups-qolt/jobFiles.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <numeric>

#include "apps/cups-qolt/identity.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/streams.h"

TEST(copyStream, tellsAFullOutputFromAnInputThatHasNothingNow) {
  fakes::ChunkedIn in("12345", 2);
  in.setNonBlocking(true);
  in.arrived = 3;
  rdr::MemOutStream out(4, 4);
  EXPECT_TRUE(copyStream(in, out));
  in.arrived = 5;
  EXPECT_FALSE(copyStream(in, out));
  EXPECT_EQ(fakes::bytesOf(out), "1234");
}

// The account owns the copy and may put anything in its place. A fifo used to hang the job.
TEST(openStoredInput, acceptsRegularFilesOnly) {
  test::ScratchFolder folder;
  const std::string file = folder / "file", fifo = folder / "fifo", link = folder / "link";
  test::writeFile(file, "");
  EXPECT_EQ(fcntl(openStoredInput(file.c_str()).get(), F_GETFL) & (O_NONBLOCK | O_ACCMODE), 0);
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::filesystem::create_symlink(file, link);
  for (auto [path, error] : {std::pair(fifo, "System-22"), std::pair(link, "System-40")}) {
    EXPECT_EQ(fakes::thrownBy([&] { openStoredInput(path.c_str()); }).substr(0, 9), error);
  }
}

TEST(describeJob, queueWithoutANameIsNull) {
  EXPECT_STREQ(describeJob("a\nb", nullptr, "ZRLE", {}).get(),
               "[Document]\nName=a\nb\n[Device]\nDeviceName=(null)\n[ZRLE]\nCount=0\n");
}

TEST(reportIdentity, listsEveryGroupUpToTheLimit) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  test::ScratchFolder folder;
  const std::string report = folder / "report";
  for (size_t count : {0, NGROUPS_MAX}) {
    std::vector<gid_t> groups(count);
    std::iota(groups.begin(), groups.end(), 70000);
    std::string expected = "qolt: backend dropped privs to uid=0, euid=2, egid=3, groups=";
    for (gid_t group : groups) expected += std::to_string(group) + ",";
    const auto reportInChild = [&] {
      dup2(creat(report.c_str(), 0600), STDERR_FILENO);
      if (setgroups(count, groups.data()) || setegid(3) || seteuid(2)) _exit(1);
      reportIdentity();
      _exit(0);
    };
    EXPECT_EXIT(reportInChild(), testing::ExitedWithCode(0), "");
    EXPECT_TRUE(test::readFile(report) == expected + "\n") << count;
  }
}
