#pragma once

#include <string>
#include <vector>

#include "tests/support/Command.h"
#include "tests/support/ScratchFolder.h"

namespace test {

// The machine as it is, seen from mount and network namespaces of its own: with an empty
// /tmp, without a network, and with every change kept in memory until the object goes.
class ThrowAwayRoot {
 public:
  ThrowAwayRoot();
  ~ThrowAwayRoot();
  ThrowAwayRoot(const ThrowAwayRoot&) = delete;
  ThrowAwayRoot& operator=(const ThrowAwayRoot&) = delete;

  // Why there is none; empty when there is.
  const std::string& problem() const { return problem_; }

  // Where the test sees a file of it, whose path is absolute.
  std::string operator/(const std::string& path) const;
  // Runs in it. The program itself is looked up outside.
  Command command(const std::vector<std::string>& programAndArguments) const;
  Command shell(const std::string& line) const { return command({"/bin/sh", "-c", line}); }
  // Everything outside /tmp that is not as on the machine, sorted: absolute paths, but not
  // those of folders that the machine has too.
  std::vector<std::string> changes() const;

 private:
  std::string ofKeeper(const char* entry) const;

  ScratchFolder scratch;
  pid_t keeper = -1;  // keeps the namespaces
  std::string problem_;
};

}  // namespace test
