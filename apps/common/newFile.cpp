#include "apps/common/newFile.h"

#include <cerrno>

#include "base/plat/Exception.h"
#include "base/plat/FilePtr.h"

void writeNewFile(plat::OwnedFd fd, int folder, const char* name,
                  const std::function<void(FILE*)>& write) {
  try {
    plat::FilePtr file(fdopen(fd.get(), "w"), true);
    if (!file.get()) throw plat::SystemExceptionFmt("fdopen(%s)", errno, name);
    fd.release();
    write(file.get());
    file.close();
  } catch (...) {
    unlinkat(folder, name, 0);
    throw;
  }
}
