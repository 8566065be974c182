#pragma once

#include <sys/types.h>

namespace os {

class Passwd;

// Gives up the privileges of root for those of the account, for good: group id, the
// supplementary groups (the primary one alone) and user id. Returns only when that
// is done and verified; otherwise ends the process at once: a call that fails with
// _exit(1), ids that do not hold as checkIds() does.
void dropPrivileges(const Passwd& account);

// Real, effective and saved user id must be uid, else aborts; real and effective
// group id must be gid, unless that is (gid_t)-1, else calls exit(1), which runs the
// destructors of static objects and no others.
void checkIds(uid_t uid, gid_t gid);

// perror() and _exit(1).
[[noreturn]] void fatalSysError(const char* text);

}  // namespace os
