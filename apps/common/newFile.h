#pragma once

#include <cstdio>
#include <functional>

#include "base/plat/unix/OwnedFd.h"

// Has a file written that was just made: fd is open on it, and it has the name in the folder
// (AT_FDCWD: the working folder). Whatever is thrown on the way is passed on, and the file
// removed.
void writeNewFile(plat::OwnedFd fd, int folder, const char* name,
                  const std::function<void(FILE*)>& write);
