#include "apps/qolt-receiver/Endpoint.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "base/os/LocalPrivateDir.h"
#include "base/os/PipeNameScoped.h"
#include "base/os/SocketUtil.h"
#include "base/plat/Exception.h"
#include "base/plat/file.h"

namespace receiver {

namespace {

// Whoever owns the folder decides who connects there.
void checkOwner() {
  const plat::String folder = os::LocalPrivateDir::get(std::to_string(geteuid()).c_str());
  struct stat status;
  if (lstat(folder.get(), &status) < 0 || status.st_uid == geteuid()) return;
  throw plat::ExceptionFmt(
      "%s belongs to the account with the id %u, and not to this one; have root remove it",
      folder.get(), status.st_uid);
}

plat::String pathOf(const char* name) {
  if (strchr(name, '/')) throw plat::ExceptionFmt("a \"/\" in the endpoint name \"%s\"", name);
  checkOwner();
  return os::PipeNameScoped::name(name, nullptr, nullptr, 0, -1);
}

// 0: there is no socket of the name.
ino_t inodeOf(const char* path) {
  struct stat status;
  return lstat(path, &status) == 0 && S_ISSOCK(status.st_mode) ? status.st_ino : 0;
}

int listenOn(const char* path) {
  // Two receivers that start at the same time must not sweep each other's socket.
  plat::OwnedFd folder(plat::fileOpenFd(os::LocalPrivateDir::get(nullptr).get(),
                                        O_RDONLY | O_DIRECTORY | O_NOFOLLOW));
  plat::fileLock(folder.get());
  if (os::isUnixSocketAlive(path, false)) {
    throw plat::ExceptionFmt("another server listens on %s", path);
  }
  if (inodeOf(path)) plat::fileRemove(path);

  plat::OwnedFd fd(os::createBoundUnixSocket(path));
  os::setBlocking(fd.get(), false);
  if (listen(fd.get(), SOMAXCONN) < 0) throw plat::SystemException("listen", errno);
  return fd.release();
}

}  // namespace

Endpoint::Endpoint(const char* name)
    : path_(pathOf(name)), fd(listenOn(path_.get())), inode(inodeOf(path_.get())) {}

Endpoint::~Endpoint() {
  if (isThere()) unlink(path_.get());
}

bool Endpoint::isThere() const {
  return inodeOf(path_.get()) == inode;
}

}  // namespace receiver
