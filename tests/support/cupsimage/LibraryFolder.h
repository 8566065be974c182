#pragma once

#include <string>

#include "tests/support/Command.h"
#include "tests/support/ScratchFolder.h"

namespace test {

// What a program is to find under the name of CUPS's imaging library, where every account
// can read it.
class LibraryFolder {
 public:
  void put(const std::string& bytes) { writeFile(folder / "libcupsimage.so.2", bytes); }
  Command& use(Command& command) const { return command.env("LD_LIBRARY_PATH", folder.path()); }

 private:
  ScratchFolder folder;
};

}  // namespace test
