#include "base/os/unix/Passwd.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "base/plat/Exception.h"
#include "tests/os/injectedFailures.h"

using os::Passwd;

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
  EXPECT_EQ(account.entry.pw_uid, 1000u);
  EXPECT_EQ(account.entry.pw_dir, home);
  injected.onGetpwuid = nullptr;
  EXPECT_THROW(Passwd(false, nullptr, 3999999999u), plat::SystemException);
  EXPECT_THROW(Passwd(true, nullptr, 0), plat::SystemException);
}
