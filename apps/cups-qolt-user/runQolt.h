#pragma once

#include <string>

// How the backend qolt ended.
struct BackendEnd {
  int status;            // as a shell has it: 128 and the signal when that ended it
  std::string lastLine;  // of what it wrote on standard error, the first 1024 bytes
  bool cancelled;        // SIGTERM came
};

// Runs the backend qolt that lies beside this program, with the arguments (argv[0] included, null
// at the end), the environment and the standard streams of this process. What it writes on standard
// error goes on as it is. SIGTERM goes on to it while it runs, and ends this process
// afterwards. Throws plat::SystemException when it cannot be started.
BackendEnd runQolt(char* const* arguments);
