#include "base/os/unix/Passwd.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "base/plat/Exception.h"
#include "tests/os/injectedFailures.h"

using os::Passwd;

TEST(Passwd, accountIsFoundByNameAndByUid) {
  Passwd byUid(false, nullptr, 0);
  EXPECT_STREQ(byUid.entry.pw_name, "root");
  Passwd byName(true, "root", 12345);
  EXPECT_EQ(byName.entry.pw_uid, 0u);
  EXPECT_STREQ(byName.entry.pw_dir, byUid.entry.pw_dir);
}

TEST(Passwd, bufferGrowsUntilTheRecordFits) {
  InjectedFailures injected;
  std::string home = "/" + std::string(5000, 'h');
  std::vector<size_t> sizes;
  injected.onGetpwuid = [&](struct passwd* entry, char* buffer, size_t size) {
    sizes.push_back(size);
    if (size <= home.size()) return ERANGE;
    entry->pw_uid = 1000;
    entry->pw_dir = strcpy(buffer, home.c_str());
    return 0;
  };
  Passwd account(false, nullptr, 1000);
  EXPECT_EQ(sizes, (std::vector<size_t>{1024, 2048, 4096, 8192}));
  EXPECT_TRUE(account.found);
  EXPECT_EQ(account.entry.pw_uid, 1000u);
  EXPECT_EQ(account.entry.pw_dir, home);
}

TEST(Passwd, failedLookupTellsWhatWasAskedFor) {
  InjectedFailures injected;
  struct Row {
    bool byName;
    const char* name;
    uid_t uid;
    int lookupErr;
    const char* message;
    int err;
  };
  for (const Row& row : {
           Row{false, nullptr, 3999999999u, 0, "getpwuid(3999999999): account not found", 0},
           Row{true, "no-such-account", 0, 0, "getpwnam(no-such-account): account not found", 0},
           Row{true, nullptr, 0, 0, "getpwnam(<null>): null name", EINVAL},
           Row{false, nullptr, 7, EIO, "getpwuid(7): Input/output error (5)", EIO},
       }) {
    SCOPED_TRACE(row.message);
    if (row.lookupErr) {
      injected.onGetpwuid = [&](struct passwd*, char*, size_t) { return row.lookupErr; };
    }
    try {
      Passwd account(row.byName, row.name, row.uid);
      ADD_FAILURE() << "nothing thrown";
    } catch (const plat::SystemException& failure) {
      EXPECT_STREQ(failure.message, row.message);
      EXPECT_EQ(failure.err, row.err);
    }
  }
}
