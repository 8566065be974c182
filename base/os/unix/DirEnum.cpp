#include "base/os/unix/DirEnum.h"

#include <cerrno>
#include <cstring>

#include "base/plat/Assertion.h"
#include "base/plat/String.h"

namespace os {

DirEnum::DirEnum(const char* name) {
  int dirLen = plat::strLen(name);
  PLAT_ASSERT_THROW(dirLen > 0);
  dir = opendir(name);
  if (!dir) throw plat::SystemExceptionFmt("opendir(%s)", errno, name);
}

DirEnum::~DirEnum() {
  closedir(dir);
}

const char* DirEnum::next() {
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(dir);
    if (!entry) {
      if (errno) throw plat::SystemExceptionFmt("readdir", errno);
      return nullptr;
    }
    const char* name = entry->d_name;
    if (strcmp(name, ".") != 0 && strcmp(name, "..") != 0) return name;
  }
}

}  // namespace os
