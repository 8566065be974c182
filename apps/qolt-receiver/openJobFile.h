#pragma once

#include "base/plat/FilePtr.h"

namespace receiver {

// Opens a file of a job for reading. The path comes from outside: it is taken only
// directly in /tmp with a name that begins with "qolt-", and only when it is a regular
// file with one link that belongs to the own account; no link is followed. Throws
// plat::Exception.
plat::FilePtr openJobFile(const char* path);

}  // namespace receiver
