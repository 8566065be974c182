#include "apps/qolt-receiver/Endpoint.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "base/os/LocalPrivateDir.h"
#include "base/os/PipeNameScoped.h"
#include "base/os/SocketUtil.h"
#include "base/plat/Exception.h"
#include "base/plat/file.h"

namespace receiver {

namespace {

plat::String pathOf(const char* name) {
  if (strchr(name, '/')) throw plat::ExceptionFmt("a \"/\" in the endpoint name \"%s\"", name);
  return os::PipeNameScoped::name(name, nullptr, nullptr, 0, -1);
}

int listenOn(const char* path) {
  // Two receivers that start at the same time must not sweep each other's socket.
  plat::OwnedFd folder(plat::fileOpenFd(os::LocalPrivateDir::get(nullptr).get(),
                                        O_RDONLY | O_DIRECTORY | O_NOFOLLOW));
  plat::fileLock(folder.get());
  if (os::isUnixSocketAlive(path, false)) {
    throw plat::ExceptionFmt("another server listens on %s", path);
  }
  struct stat status;
  if (lstat(path, &status) == 0 && S_ISSOCK(status.st_mode)) plat::fileRemove(path);

  plat::OwnedFd fd(os::createBoundUnixSocket(path));
  os::setBlocking(fd.get(), false);
  if (listen(fd.get(), SOMAXCONN) < 0) throw plat::SystemException("listen", errno);
  return fd.release();
}

}  // namespace

Endpoint::Endpoint(const char* name) : path_(pathOf(name)), fd(listenOn(path_.get())) {}

Endpoint::~Endpoint() {
  unlink(path_.get());
}

}  // namespace receiver
