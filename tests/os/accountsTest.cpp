#include <grp.h>
#include <sys/wait.h>

#include <list>
#include <numeric>
#include <set>

#include "base/os/AppInfo.h"
#include "base/os/LocalPrivateDir.h"
#include "base/os/PipeNameScoped.h"
#include "base/os/unix/DirEnum.h"
#include "base/os/unix/Passwd.h"
#include "base/os/unix/setuid.h"
#include "base/plat/Assertion.h"
#include "base/plat/unix/OwnedFd.h"
#include "tests/os/outcomes.h"

using os::AppInfo;
using testing::ExitedWithCode;

namespace {

// Digits: the real, effective and saved user id, the real and effective group id.
void become(const char* ids) {
  // Before the leak check of the address sanitizer, which an ordinary account may not do.
  on_exit([](int status, void*) { fputs("handled\n", stderr), _exit(status); }, nullptr);
  CHILD_CHECK(setresgid(ids[3] - '0', ids[4] - '0', 0) == 0);
  CHILD_CHECK(setresuid(ids[0] - '0', ids[1] - '0', ids[2] - '0') == 0);
}

void dropTo1(const char* from, const char* failures = "") {
  const os::Passwd account(false, nullptr, 1);
  become(from);
  injectedFailures = failures;
  os::dropPrivileges(account);
  fputs(test::readFile("/proc/self/status").c_str(), stderr);
  _exit(0);
}

void check(const char* ids, gid_t gid = 8, const char* failures = "") {
  become(ids);
  injectedFailures = failures;
  os::checkIds(7, gid);
  exit(0);
}

std::string lookUp(bool byName, const char* name, uid_t uid) {
  const os::Passwd account(byName, name, uid);
  return account.entry.pw_name + std::to_string(account.buffer.size() + account.found);
}

// They lie in the base directory for everyone; these belong to this process alone.
struct PrivateDirs {
  PrivateDirs() { AppInfo::set("print", nullptr, pathComp.c_str()); }
  ~PrivateDirs() {
    for (uid_t user : {geteuid(), 1u, 7u}) std::filesystem::remove_all(of(std::to_string(user)));
  }
  std::string of(const std::string& user) const { return "/tmp/." + pathComp + "-" + user; }

  const std::string pathComp = "qolt-test" + std::to_string(getpid());
};

// In the order of their names.
std::string entriesOf(const std::string& folder) {
  std::multiset<std::string> names;
  os::DirEnum entries(folder.c_str());
  errno = EIO;  // of an earlier failure
  while (const char* name = entries.next()) names.insert(name + std::string(" "));
  return std::accumulate(names.begin(), names.end(), std::string());
}

}  // namespace

TEST(Passwd, bufferGrowsUntilTheRecordFits) {
  HOLD(lookUp(true, "root", 1), "> root1025");
  HOLD(lookUp(true, "no", 0), "> getpwnam(no) 0");
  HOLD(lookUp(true, nullptr, 0), "> getpwnam(<null>) 22");
  HOLD(lookUp(false, "root", ~1u), "> getpwuid(4294967294) 0",
       "getpwuid_r 5 > getpwuid(4294967294) 5");
  HOLD(lookUp(false, "no", 0), "getpwuid_r 34 getpwuid_r 34 getpwuid_r 34 > root8193");
}

TEST(setuid, dropLeavesNothingOfRootOrEndsTheProcessAtOnce) {
  NEEDS_ROOT();
  EXPECT_EXIT(dropTo1("00000"), ExitedWithCode(0),
              "Uid:(\t1){4}\nGid:(\t1){4}\n.*Groups:\t1 \n.*CapPrm:\t0+\nCapEff:\t0+\n");
  const std::string refused = "\\(\\): Operation not permitted\n$";
  EXPECT_EXIT(dropTo1("00000", "setuid 1"), ExitedWithCode(1), "^setuid" + refused);
  EXPECT_EXIT(dropTo1("00000", "setuid 0"), testing::KilledBySignal(SIGABRT), "Unexpected uid");
  EXPECT_EXIT(dropTo1("11111"), ExitedWithCode(1), "^setgroups" + refused);
  EXPECT_EXIT(dropTo1("77777"), ExitedWithCode(1), "^setgid" + refused);
}

TEST(setuid, everyIdThatIsNotTheExpectedOneEndsTheProcess) {
  NEEDS_ROOT();
  const testing::KilledBySignal aborted(SIGABRT);
  EXPECT_EXIT(check("77788"), ExitedWithCode(0), "^handled\n$");
  EXPECT_EXIT(check("77789", static_cast<gid_t>(-1)), ExitedWithCode(0), "^handled\n$");
  EXPECT_EXIT(check("77788", 8, "getresuid 1"), aborted, "^Unexpected uid\n" ABORT_REMARK "$");
  for (const char* ids : {"77088", "70788", "07788", "00088"}) {
    EXPECT_EXIT(check(ids), aborted, "^Unexpected uid\n" ABORT_REMARK "$");
  }
  for (const char* ids : {"77789", "77798", "77799"}) {
    EXPECT_EXIT(check(ids), ExitedWithCode(1), "^Unexpected gid\nhandled\n$");
  }
}

TEST(AppInfo, noTextIsReadUnset) {
  EXPECT_DEATH(os::PipeNameScoped::name("q", "7", nullptr, 0, 0), "'emptyIfUnset .. app'");
  AppInfo::set("app", nullptr, nullptr);
  EXPECT_EQ(std::string(AppInfo::getDetail(true)) + AppInfo::getDisplayName(false), "app");
  EXPECT_EQ(os::LocalPrivateDir::get("x"), "/tmp/.-x");
  AppInfo::set("app ", "company ", "path ", "name ", "detail ");
  AppInfo::setGroup("group ");
  std::ostringstream texts;
  texts << AppInfo::getApp(false) << AppInfo::getCompany(false) << AppInfo::getPathComp(false)
        << AppInfo::getDisplayName(false) << AppInfo::getDetail(false) << AppInfo::getGroup(false);
  EXPECT_EQ(texts.str(), "app company path name detail group ");
}

TEST(DirEnum, failureNamesTheCall) {
  HOLD(entriesOf("/no"), "> opendir(/no) 2");
  HOLD(entriesOf("/"), "readdir64 5 > readdir 5");
  EXPECT_THROW(entriesOf(""), plat::AssertionFail);
}

TEST(LocalPrivateDir, isMadeOrMadePrivateButNothingElseIs) {
  PrivateDirs dirs;
  test::ScratchFolder linked;
  const std::string own = dirs.of(std::to_string(geteuid()));
  for (int i = 0; i < 2; i++) {
    HOLD(os::LocalPrivateDir::get(nullptr).get(), "> " + own);
    EXPECT_EQ(std::filesystem::status(own).permissions(), std::filesystem::perms{0700});
    chmod(own.c_str(), 0755);
  }
  for (const std::string& to : {linked.path(), linked / "no", std::string()}) {
    std::filesystem::remove(own);
    if (symlink(to.c_str(), own.c_str()) != 0) test::writeFile(own, "");
    EXPECT_THROW(os::LocalPrivateDir::get(nullptr), plat::SystemException) << to;
  }
  EXPECT_EQ(std::filesystem::status(linked.path()).permissions(), std::filesystem::perms{0755});
}

TEST(PipeNameScoped, suffixFollowsIdAndIndex) {
  PrivateDirs dirs;
  const auto name = [&](int64_t id, int index, const char* app = nullptr) {
    const std::string path = os::PipeNameScoped::name("q", "7", app, id, index).get();
    return path.starts_with(dirs.of("7/")) ? path.substr(dirs.of("7/").size()) + " " : path;
  };
  EXPECT_EQ(name(0, -1) + name(0, 0, "app") + name(0, 1), "print.q app.q print.q.0.1 ");
  EXPECT_EQ(name(7, -1) + name(7, 0) + name(7, 1), "print.q.7 print.q.7.0 print.q.7.1 ");
  EXPECT_EQ(name(INT64_MAX, -1), "print.q.9223372036854775807 ");
  EXPECT_EQ(name(-1, 2), "print.q." + std::to_string(getpid()) + ".2 ");
  EXPECT_FALSE(std::filesystem::exists(dirs.of("7")));
}

TEST(PipeNameScoped, sweepTakesDeadSocketsOfThatNameFromTheUserOrAsRootFromEveryone) {
  NEEDS_ROOT();
  PrivateDirs dirs;
  test::ScratchFolder linked;
  std::filesystem::create_symlink(linked.path(), dirs.of("7"));
  std::list<plat::OwnedFd> sockets;
  const std::string dead = "print.q print.q.3 ", shut = "print.q.shut ", live = "print.q.t-live ",
                    other = "print.q.z-file print.q.z-link print.q2 xprint.q ";
  for (const std::string& folder : {dirs.of("0"), dirs.of("1"), linked.path()}) {
    mkdir(folder.c_str(), 0);
    chmod(folder.c_str(), 0777);
    std::istringstream names("print " + dead + shut + live + "print.q2 xprint.q");
    for (std::string name; names >> name;) {
      sockets.emplace_back(os::createBoundUnixSocket((folder + "/" + name).c_str()));
      chmod((folder + "/" + name).c_str(), name + " " == shut ? 0 : 0777);
      if (name + " " != live || listen(sockets.back().get(), 1) != 0) sockets.pop_back();
    }
    test::writeFile(folder + "/print.q.z-file", "");
    std::filesystem::create_symlink("print.q2", folder + "/print.q.z-link");
  }
  for (uid_t user : {1, 0}) {
    const pid_t child = fork();
    if (child == 0) {
      CHILD_CHECK(setresuid(user, user, user) == 0);
      os::PipeNameScoped::removeStale("q", user == 0 ? "print" : nullptr);
      _exit(0);
    }
    waitpid(child, nullptr, 0);
    const std::string all = "print " + dead + shut + live + other, kept = "print " + live + other;
    EXPECT_EQ(entriesOf(dirs.of("0")), user == 0 ? kept : all);
    EXPECT_EQ(entriesOf(dirs.of("1")), user == 0 ? kept : "print " + shut + live + other);
    EXPECT_EQ(entriesOf(linked.path()), all);
  }
}
