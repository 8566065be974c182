#include "apps/qolt-receiver/openJobFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "apps/common/jobNames.h"
#include "base/plat/Exception.h"
#include "base/plat/unix/OwnedFd.h"

namespace receiver {

namespace {

// More than any printer takes; a sparse file could claim to be longer.
constexpr off_t maxSize = off_t{1} << 36;

}  // namespace

plat::FilePtr openJobFile(const char* path) {
  if (!job::isJobFile(path)) throw plat::ExceptionFmt("refused %s: not a file of a job", path);
  plat::OwnedFd fd(open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (fd.get() < 0) throw plat::SystemExceptionFmt("open(%s)", errno, path);
  struct stat status;
  if (fstat(fd.get(), &status) < 0) throw plat::SystemExceptionFmt("fstat(%s)", errno, path);
  if (!S_ISREG(status.st_mode)) throw plat::ExceptionFmt("refused %s: not a regular file", path);
  if (status.st_uid != geteuid()) throw plat::ExceptionFmt("refused %s: not our own", path);
  if (status.st_nlink != 1) throw plat::ExceptionFmt("refused %s: it has another name", path);
  if (status.st_size > maxSize) throw plat::ExceptionFmt("refused %s: too long", path);
  FILE* file = fdopen(fd.get(), "r");
  if (!file) throw plat::SystemExceptionFmt("fdopen(%s)", errno, path);
  fd.release();
  return plat::FilePtr(file, true);
}

}  // namespace receiver
