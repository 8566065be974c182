#pragma once

#include <pwd.h>
#include <sys/types.h>

#include <string>

namespace test {

// An account of the base system that owns no process and no home worth guarding.
struct Account {
  std::string name;
  uid_t uid = 0;
  gid_t gid = 0;
  bool found = false;
};

// Its group id differs from its user id where the system has such an account.
inline Account unprivilegedAccount(int which = 0) {
  Account account;
  for (const char* name : {"games", "man", "news", "nobody"}) {
    passwd* entry = getpwnam(name);
    if (!entry || entry->pw_uid == 0 || which-- > 0) continue;
    return {name, entry->pw_uid, entry->pw_gid, true};
  }
  return account;
}

}  // namespace test
