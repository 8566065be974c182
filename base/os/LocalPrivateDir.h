#pragma once

#include "base/plat/String.h"

namespace os {

// The directory of a user's local sockets, "/tmp/.<pathComp>-<user>".
class LocalPrivateDir {
 public:
  LocalPrivateDir() = delete;

  static const char* baseDir();
  // Of that user: the bare name, nothing is looked at. Null: of the effective user
  // id; the directory is then made, or made private if it exists. A link or a file
  // of that name is refused and left as it is. Throws plat::SystemExceptionFmt.
  static plat::String get(const char* user);
};

}  // namespace os
