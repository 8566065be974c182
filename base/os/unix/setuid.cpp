#include "base/os/unix/setuid.h"

#include <grp.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "base/os/unix/Passwd.h"

namespace os {

void fatalSysError(const char* text) {
  perror(text);
  // Whatever destructors and exit handlers do was meant for other privileges.
  _exit(1);
}

void checkIds(uid_t uid, gid_t gid) {
  uid_t realUid = 0, effectiveUid = 0, savedUid = 0;
  if (getuid() != uid || geteuid() != getuid() ||
      getresuid(&realUid, &effectiveUid, &savedUid) < 0 || savedUid != effectiveUid) {
    fputs("Unexpected uid\n", stderr);
    abort();
  }
  if (gid != static_cast<gid_t>(-1) && (getgid() != gid || getegid() != getgid())) {
    fputs("Unexpected gid\n", stderr);
    exit(1);
  }
}

void dropPrivileges(const Passwd& account) {
  uid_t uid = account.entry.pw_uid;
  gid_t gid = account.entry.pw_gid;
  // The user id last: without root the groups can no longer be changed.
  if (setgid(gid) < 0) fatalSysError("setgid()");
  if (setgroups(1, &gid) < 0) fatalSysError("setgroups()");
  if (setuid(uid) < 0) fatalSysError("setuid()");
  checkIds(uid, gid);
}

}  // namespace os
