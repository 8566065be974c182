#include "base/os/PipeNameScoped.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "base/os/AppInfo.h"
#include "base/os/LocalPrivateDir.h"
#include "base/os/SocketUtil.h"
#include "base/os/unix/DirEnum.h"
#include "base/plat/DString.h"
#include "base/plat/Exception.h"
#include "base/plat/Splitter.h"
#include "base/plat/unix/OwnedFd.h"

namespace os {

namespace {

bool isNamed(const char* entry, const char* app, const char* base) {
  plat::String copy(entry);
  plat::Splitter components(copy.data());
  const char* first = components.next('.');
  const char* second = components.next('.');
  return plat::strCompare(first, app) == 0 && plat::strCompare(second, base) == 0;
}

bool isDeadSocket(int dir, const char* entry, const char* path) {
  struct stat info;
  if (fstatat(dir, entry, &info, AT_SYMLINK_NOFOLLOW) < 0 || !S_ISSOCK(info.st_mode)) return false;
  try {
    return !isUnixSocketAlive(path, false);
  } catch (const plat::Exception&) {
    return false;
  }
}

// The base directory is writable for everyone, and the superuser sweeps everyone's
// directories: a link in place of one must not lead him elsewhere. So nothing is
// unlinked but sockets, in the very directory that was opened without following a
// link; its name, which its owner may move meanwhile, serves for looking only.
void sweep(const char* dirName, const char* app, const char* base) {
  plat::OwnedFd dir(open(dirName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (dir.get() < 0) return;
  try {
    DirEnum entries(dirName);
    while (const char* entry = entries.next()) {
      if (!isNamed(entry, app, base)) continue;
      const plat::String path = plat::strFormat("%s/%s", dirName, entry);
      if (isDeadSocket(dir.get(), entry, path.get())) unlinkat(dir.get(), entry, 0);
    }
  } catch (const plat::Exception&) {
    // Whoever may not read the directory has nothing to sweep there.
  }
}

void sweepEveryone(const char* app, const char* base) {
  const plat::String prefix = plat::strFormat(".%s-", AppInfo::getPathComp(true));
  try {
    DirEnum entries(LocalPrivateDir::baseDir());
    while (const char* entry = entries.next()) {
      if (!plat::startsWith(entry, prefix.get())) continue;
      const plat::String dirName = plat::strFormat("%s/%s", LocalPrivateDir::baseDir(), entry);
      sweep(dirName.get(), app, base);
    }
  } catch (const plat::Exception&) {
  }
}

}  // namespace

plat::String PipeNameScoped::name(const char* base, const char* user, const char* app, int64_t id,
                                  int index) {
  plat::DString path;
  path.appendFormat("%s/", LocalPrivateDir::get(user).get());
  path.appendFormat("%s.", app ? app : AppInfo::getApp(false));
  path.append(base);
  if (id == -1) id = getpid();
  long long shownId = id;
  if (index >= 1 || id != 0) path.appendFormat(".%lld", shownId);
  if (index >= 1 || (index == 0 && id != 0)) path.appendFormat(".%d", index);
  return path.release();
}

void PipeNameScoped::removeStale(const char* base, const char* app) {
  if (!app) app = AppInfo::getApp(false);
  if (geteuid() == 0) {
    sweepEveryone(app, base);
    return;
  }
  sweep(LocalPrivateDir::get(std::to_string(geteuid()).c_str()).get(), app, base);
}

}  // namespace os
