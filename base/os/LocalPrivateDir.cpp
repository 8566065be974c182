#include "base/os/LocalPrivateDir.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "base/os/AppInfo.h"
#include "base/plat/DString.h"
#include "base/plat/Exception.h"
#include "base/plat/file.h"

namespace os {

namespace {

// Everyone may put something of this name into the base directory: a link to a
// directory is none here.
bool isDirectory(const char* path) {
  struct stat info;
  return lstat(path, &info) == 0 && S_ISDIR(info.st_mode);
}

}  // namespace

const char* LocalPrivateDir::baseDir() {
  return "/tmp";
}

plat::String LocalPrivateDir::get(const char* user) {
  const std::string ownUid = std::to_string(geteuid());
  plat::String path = plat::strFormat("%s/.%s-%s", baseDir(), AppInfo::getPathComp(true),
                                      user ? user : ownUid.c_str());
  if (!user && !plat::mkDir(path.get(), /*isPrivate=*/true, /*fixExisting=*/true) &&
      !isDirectory(path.get())) {
    throw plat::SystemExceptionFmt("mkDir(%s)", EEXIST, path.get());
  }
  return path;
}

}  // namespace os
