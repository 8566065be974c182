#pragma once

#include <dirent.h>

#include "base/plat/NonCopyable.h"

namespace os {

// The entries of a directory in no particular order, without "." and "..".
class DirEnum : private plat::NonCopyable {
 public:
  // Throws plat::SystemExceptionFmt "opendir(%s)"; a throwing assertion for an
  // empty name.
  explicit DirEnum(const char* name);
  ~DirEnum();
  // The name of the next entry, valid until the next call; null at the end.
  // Throws plat::SystemExceptionFmt "readdir".
  const char* next();

 private:
  DIR* dir;
};

}  // namespace os
