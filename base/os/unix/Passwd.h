#pragma once

#include <pwd.h>

#include "base/plat/MBuf.h"
#include "base/plat/NonCopyable.h"

namespace os {

// One account record, valid as long as this object lives.
class Passwd : private plat::NonCopyable {
 public:
  // Looks up by name, or by uid with byName false. Throws plat::SystemException:
  // with error 0 when there is no such account, otherwise with that of the lookup.
  Passwd(bool byName, const char* name, uid_t uid);

  struct passwd entry;               // its texts lie in buffer
  plat::MBuf<unsigned char> buffer;  // wiped before it is released
  bool found;
};

}  // namespace os
