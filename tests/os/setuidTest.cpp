#include "base/os/unix/setuid.h"

#include <grp.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "base/os/unix/Passwd.h"
#include "tests/os/injectedFailures.h"
#include "tests/support/childProcess.h"

using testing::ExitedWithCode;
using testing::KilledBySignal;

namespace {

constexpr uid_t nobody = 65534;
constexpr gid_t anyGid = static_cast<gid_t>(-1);

void dropAndTryToUndo() {
  const gid_t before[] = {0, 4, 1000};
  CHILD_CHECK(setgroups(3, before) == 0);
  os::Passwd account(false, nullptr, nobody);
  gid_t gid = account.entry.pw_gid;
  os::dropPrivileges(account);

  gid_t groups[16];
  CHILD_CHECK(getgroups(16, groups) == 1 && groups[0] == gid);
  uid_t uids[3];
  gid_t gids[3];
  CHILD_CHECK(getresuid(&uids[0], &uids[1], &uids[2]) == 0);
  CHILD_CHECK(getresgid(&gids[0], &gids[1], &gids[2]) == 0);
  for (int i = 0; i < 3; ++i) CHILD_CHECK(uids[i] == nobody && gids[i] == gid);
  CHILD_CHECK(setuid(0) < 0 && seteuid(0) < 0 && setresuid(0, 0, 0) < 0);
  CHILD_CHECK(setgid(0) < 0 && setegid(0) < 0 && setgroups(3, before) < 0);
  _exit(0);
}

}  // namespace

TEST(setuid, dropCannotBeUndone) {
  NEEDS_ROOT();
  EXPECT_EXIT(dropAndTryToUndo(), ExitedWithCode(0), "");
}

TEST(setuid, failingStepEndsTheProcessAtOnce) {
  NEEDS_ROOT();
  for (const char* step : {"setgid", "setgroups", "setuid"}) {
    SCOPED_TRACE(step);
    EXPECT_EXIT(
        {
          os::Passwd account(false, nullptr, nobody);
          InjectedFailures injected;
          injected.fail(step, EPERM, 1);
          os::dropPrivileges(account);
          _exit(0);
        },
        ExitedWithCode(1), std::string("^") + step + "\\(\\): Operation not permitted\n$");
  }
}

TEST(setuid, anyUidThatIsNotTheExpectedOneAborts) {
  NEEDS_ROOT();
  const uid_t ids[][3] = {{nobody, nobody, 0}, {nobody, 0, nobody}, {0, nobody, nobody}};
  for (const auto& [real, effective, saved] : ids) {
    EXPECT_EXIT(
        {
          CHILD_CHECK(setresuid(real, effective, saved) == 0);
          os::checkIds(nobody, anyGid);
          _exit(0);
        },
        KilledBySignal(SIGABRT), "^Unexpected uid\n");
  }
}
