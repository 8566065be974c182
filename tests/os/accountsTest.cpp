#include <grp.h>
#include <sys/wait.h>

#include <array>
#include <set>

#include "base/os/AppInfo.h"
#include "base/os/LocalPrivateDir.h"
#include "base/os/PipeNameScoped.h"
#include "base/os/unix/DirEnum.h"
#include "base/os/unix/Passwd.h"
#include "base/os/unix/setuid.h"
#include "base/plat/Assertion.h"
#include "tests/os/outcomes.h"

using os::AppInfo;
using os::LocalPrivateDir;
using testing::ExitedWithCode;

namespace {

void become(uid_t real, uid_t effective, uid_t saved, gid_t realGid, gid_t effectiveGid) {
  atexit([] { fputs("handled\n", stderr); });
  CHILD_CHECK(setresgid(realGid, effectiveGid, 0) == 0);
  CHILD_CHECK(setresuid(real, effective, saved) == 0);
}

void dropTo1(uid_t from, const char* failures = "") {
  const os::Passwd account(false, nullptr, 1);
  const gid_t before[] = {0, 4, 1000};
  CHILD_CHECK(setgroups(3, before) == 0);
  become(from, from, from, from, from);
  injectedFailures = failures;
  os::dropPrivileges(account);
  fputs(test::readFile("/proc/self/status").c_str(), stderr);
  _exit(0);
}

void check(std::array<uid_t, 3> uids, std::array<gid_t, 2> gids, const char* failures = "") {
  become(uids[0], uids[1], uids[2], gids[0], gids[1]);
  injectedFailures = failures;
  os::checkIds(7, gids[0] == 4 ? static_cast<gid_t>(-1) : 8);
  exit(0);
}

std::string lookUp(const char* name, uid_t uid) {
  const os::Passwd account(uid == 0, name, uid == 0 ? 1 : uid);
  EXPECT_TRUE(account.found);
  return account.entry.pw_name + std::to_string(account.buffer.size());
}

// They lie in the base directory for everyone; these belong to this process alone.
struct PrivateDirs {
  PrivateDirs() { AppInfo::set("print", nullptr, pathComp.c_str()); }
  ~PrivateDirs() {
    for (const char* user : {"0", "1", "7"}) std::filesystem::remove_all(of(user));
  }
  std::string of(const std::string& user) const { return "/tmp/." + pathComp + "-" + user; }

  const std::string pathComp = "qolt-test" + std::to_string(getpid());
};

// In the order of their names.
std::string entriesOf(const std::string& folder) {
  std::multiset<std::string> names;
  os::DirEnum entries(folder.c_str());
  errno = EIO;  // of an earlier failure
  while (const char* name = entries.next()) names.insert(name);
  std::string list;
  for (const std::string& name : names) list += name + " ";
  return list;
}

}  // namespace

TEST(Passwd, bufferGrowsUntilTheRecordFits) {
  HOLD(lookUp("root", 0), "> root1024");
  HOLD(lookUp("no", 0), "> getpwnam(no) 0");
  HOLD(lookUp(nullptr, 0), "> getpwnam(<null>) 22");
  HOLD(lookUp("no", ~1u), "> getpwuid(4294967294) 0");
  HOLD(lookUp("no", 1), "getpwuid_r 34 getpwuid_r 34 getpwuid_r 34 > daemon8192",
       "getpwuid_r 5 > getpwuid(1) 5");
}

TEST(setuid, dropLeavesNothingOfRootOrEndsTheProcessAtOnce) {
  NEEDS_ROOT();
  EXPECT_EXIT(dropTo1(0), ExitedWithCode(0),
              "Uid:(\t1){4}\nGid:(\t1){4}\n.*Groups:\t1 \n.*CapPrm:\t0+\nCapEff:\t0+\n");
  EXPECT_EXIT(dropTo1(0, "setuid 1"), ExitedWithCode(1), "^setuid..: Operation not permitted\n$");
  EXPECT_EXIT(dropTo1(1), ExitedWithCode(1), "^setgroups..: Operation not permitted\n$");
  EXPECT_EXIT(dropTo1(7), ExitedWithCode(1), "^setgid..: Operation not permitted\n$");
}

TEST(setuid, everyIdThatIsNotTheExpectedOneEndsTheProcess) {
  NEEDS_ROOT();
  const testing::KilledBySignal aborted(SIGABRT);
  for (gid_t real : {8, 4}) {
    EXPECT_EXIT(check({7, 7, 7}, {real, 8}), ExitedWithCode(0), "^handled\n$");
  }
  EXPECT_EXIT(check({7, 7, 7}, {8, 8}, "getresuid 1"), aborted, "^Unexpected uid\n$");
  for (const auto& uids : {std::array{7u, 7u, 0u}, {7u, 0u, 7u}, {0u, 7u, 7u}, {0u, 0u, 0u}}) {
    EXPECT_EXIT(check(uids, {8, 8}), aborted, "^Unexpected uid\n$");
  }
  for (const auto& gids : {std::array{8u, 9u}, {9u, 8u}, {9u, 9u}}) {
    EXPECT_EXIT(check({7, 7, 7}, gids), ExitedWithCode(1), "^Unexpected gid\nhandled\n$");
  }
}

TEST(AppInfo, noTextIsReadUnset) {
  EXPECT_DEATH(AppInfo::getApp(false), "emptyIfUnset .. app'");
  AppInfo::set("app", nullptr, nullptr);
  EXPECT_EQ(std::string(AppInfo::getCompany(true)) + AppInfo::getDisplayName(false), "app");
  EXPECT_DEATH(AppInfo::getDetail(false), "emptyIfUnset .. detail'");
  AppInfo::set("app", "company", "path", "name", "detail");
  AppInfo::setGroup("group");
  std::string texts;
  for (auto* get : {AppInfo::getApp, AppInfo::getCompany, AppInfo::getPathComp,
                    AppInfo::getDisplayName, AppInfo::getDetail, AppInfo::getGroup}) {
    texts += get(false);
  }
  EXPECT_EQ(texts, "appcompanypathnamedetailgroup");
}

TEST(DirEnum, failureNamesTheCall) {
  HOLD(entriesOf("/no"), "> opendir(/no) 2");
  HOLD(entriesOf("/"), "readdir64 5 > readdir 5");
  EXPECT_THROW(entriesOf(""), plat::AssertionFail);
}

TEST(LocalPrivateDir, isMadeOrMadePrivateAndNothingElseIsTouched) {
  NEEDS_ROOT();
  PrivateDirs dirs;
  test::ScratchFolder target;
  const std::string own = dirs.of("0"), linked = target.path();
  HOLD(LocalPrivateDir::get("7").get(), "> " + dirs.of("7"));
  EXPECT_FALSE(std::filesystem::exists(dirs.of("7")));
  for (uid_t owner : {0, 1}) {
    HOLD(LocalPrivateDir::get(nullptr).get(), "> " + own);
    EXPECT_EQ(chmod(own.c_str(), 0755) + chown(own.c_str(), owner, 7), 0);
    LocalPrivateDir::get(nullptr);
    struct stat info {};
    EXPECT_EQ(stat(own.c_str(), &info) + rmdir(own.c_str()), 0);
    EXPECT_TRUE(info.st_mode == (S_IFDIR | 0700u) && info.st_uid == 0 && info.st_gid == 7);
  }
  for (const std::string& to : {std::string(), linked, linked + "/no"}) {
    if (symlink(to.c_str(), own.c_str()) != 0) test::writeFile(own, "");
    EXPECT_THROW(LocalPrivateDir::get(nullptr), plat::SystemException) << to;
    EXPECT_TRUE(std::filesystem::remove(own));
    EXPECT_EQ(std::filesystem::status(linked).permissions(), std::filesystem::perms{0755});
  }
}

TEST(PipeNameScoped, suffixFollowsIdAndIndex) {
  PrivateDirs dirs;
  const auto name = [](int64_t id, int index, const char* app = nullptr) {
    return std::string(os::PipeNameScoped::name("q", "7", app, id, index).get());
  };
  EXPECT_EQ(name(0, -1) + name(0, 0, "app"), dirs.of("7/print.q") + dirs.of("7/app.q"));
  EXPECT_EQ(name(0, 1), dirs.of("7/print.q.0.1"));
  EXPECT_EQ(name(42, -1) + name(42, 0), dirs.of("7/print.q.42") + dirs.of("7/print.q.42.0"));
  EXPECT_EQ(name(INT64_MAX, 1), dirs.of("7/print.q.9223372036854775807.1"));
  EXPECT_EQ(name(-1, 2), dirs.of("7/print.q." + std::to_string(getpid()) + ".2"));
}

TEST(PipeNameScoped, sweepTakesDeadSocketsOfThatNameFromTheUserOrAsRootFromEveryone) {
  NEEDS_ROOT();
  for (uid_t user : {0, 1}) {
    PrivateDirs dirs;
    test::ScratchFolder linked;
    std::filesystem::create_symlink(linked.path(), dirs.of("7"));
    std::vector<plat::OwnedFd> listeners;
    const std::string folders[] = {dirs.of("0"), dirs.of("1"), linked.path()};
    for (const std::string& folder : folders) {
      mkdir(folder.c_str(), 0);
      for (const char* name : {"/print", "/print.q", "/print.q.0.3", "/print.q.live",
                               "/print.q.shut", "/print.q2", "/xprint.q"}) {
        const std::string path = folder + name;
        listeners.emplace_back(os::createBoundUnixSocket(path.c_str()));
        chmod(path.c_str(), path.ends_with("shut") ? 0 : 0777);
        if (!path.ends_with("live") || listen(listeners.back().get(), 1)) listeners.pop_back();
      }
      test::writeFile(folder + "/print.q.file", "");
      std::filesystem::create_symlink("print.q2", folder + "/print.q.link");
      chmod(folder.c_str(), 0777);
    }
    if (const pid_t child = fork(); child == 0) {
      CHILD_CHECK(setresuid(user, user, user) == 0);
      os::PipeNameScoped::removeStale("q", user == 0 ? "print" : nullptr);
      _exit(0);
    } else {
      waitpid(child, nullptr, 0);
    }
    const std::string swept = "print print.q.file print.q.link print.q.live print.q2 xprint.q ";
    std::string all = swept, own = swept;
    all.insert(6, "print.q print.q.0.3 ").insert(all.find("print.q2"), "print.q.shut ");
    if (user != 0) own.insert(own.find("print.q2"), "print.q.shut ");
    EXPECT_EQ(entriesOf(folders[0]), user == 0 ? swept : all);
    EXPECT_EQ(entriesOf(folders[1]), own);
    EXPECT_EQ(entriesOf(folders[2]), all);
  }
}
