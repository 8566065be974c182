#include "apps/cups-qolt/identity.h"

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <vector>

#include "base/plat/DString.h"
#include "base/plat/Exception.h"

void reportIdentity() {
  plat::DString list;
  list.reserve(32);
  list.append("");
  errno = 0;
  long maximum = sysconf(_SC_NGROUPS_MAX);
  if (maximum < _POSIX_NGROUPS_MAX) {
    throw plat::SystemException("sysconf(_SC_NGROUPS_MAX)", errno);
  }
  std::vector<gid_t> groups(maximum + 1);
  int count = getgroups(static_cast<int>(groups.size()), groups.data());
  if (count < 0) throw plat::SystemException("getgroups()", errno);
  for (int i = 0; i < count; i++) list.appendFormat("%ld,", static_cast<long>(groups[i]));
  fprintf(stderr, "qolt: backend dropped privs to uid=%ld, euid=%ld, egid=%ld, groups=%s\n",
          static_cast<long>(getuid()), static_cast<long>(geteuid()), static_cast<long>(getegid()),
          list.get());
}
