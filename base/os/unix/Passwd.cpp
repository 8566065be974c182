#include "base/os/unix/Passwd.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <string>

#include "base/plat/Exception.h"
#include "base/plat/SString.h"

namespace os {

namespace {

// The text alone, without the suffix of the system's error text.
plat::SystemException plainFailure(int err, const char* call, const char* argument,
                                   const char* reason) {
  plat::SystemException failure("", err);
  failure.message[0] = '\0';
  plat::sstrAppendPrintf(failure.message, sizeof failure.message, "%s(%s): %s", call, argument,
                         reason);
  return failure;
}

}  // namespace

Passwd::Passwd(bool byName, const char* name, uid_t uid)
    : entry(), buffer(1024, /*wipe=*/true), found(false) {
  const char* call = byName ? "getpwnam" : "getpwuid";
  const std::string uidText = std::to_string(uid);
  if (byName && !name) throw plainFailure(EINVAL, call, "<null>", "null name");
  const char* argument = byName ? name : uidText.c_str();

  while (true) {
    memset(&entry, 0, sizeof entry);
    struct passwd* record = nullptr;
    char* bytes = reinterpret_cast<char*>(buffer.data());
    int err = byName ? getpwnam_r(name, &entry, bytes, buffer.size(), &record)
                     : getpwuid_r(uid, &entry, bytes, buffer.size(), &record);
    if (record) {
      found = true;
      return;
    }
    if (err == 0) throw plainFailure(0, call, argument, "account not found");
    // A size that an int cannot hold is no record of an account any more.
    if (err != ERANGE || buffer.size() > INT_MAX / 2) {
      throw plat::SystemExceptionFmt("%s(%s)", err, call, argument);
    }
    buffer.resize(buffer.size() * 2);
  }
}

}  // namespace os
