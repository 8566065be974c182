#include "apps/cups-qolt-user/owner.h"

#include <fstream>
#include <sstream>

#include "base/os/unix/Passwd.h"
#include "base/plat/Exception.h"
#include "base/plat/NumUtil.h"

Owner findOwner(const char* user, uid_t leastUserId) {
  try {
    const os::Passwd account(true, user, 0);
    const uid_t uid = account.entry.pw_uid;
    if (uid == 0) return {uid, "Root receives no print jobs"};
    if (uid < leastUserId) return {uid, std::string("A service receives no print jobs: ") + user};
    return {uid, ""};
  } catch (const plat::SystemException& problem) {
    if (problem.err) throw;
    return {0, std::string("There is no account here with the name ") + user};
  }
}

uid_t leastUserId(const char* loginDefs) {
  uid_t least = 1000;
  std::ifstream file(loginDefs);
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::string name, value;
    if (!(words >> name >> value) || name != "UID_MIN") continue;
    try {
      least = plat::parseUInt(value.c_str(), 0);
    } catch (const plat::BadNum&) {
    }
  }
  return least;
}
