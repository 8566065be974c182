#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/support/Command.h"
#include "tests/support/ScratchFolder.h"

namespace test {

// A real CUPS scheduler of its own on a free port of the loopback interface, run by
// scripts/private-scheduler. Its backends are those given, files that are installed as
// root with mode 0700. The system's scheduler is not touched.
class PrivateScheduler {
 public:
  // What of CUPS is missing here; empty when it can be started.
  static std::string missing();

  struct Backend {
    std::string name, file;
  };
  explicit PrivateScheduler(const std::vector<Backend>& backends);

  const ScratchFolder& folder() const { return scratch; }
  // A client program of CUPS, against this scheduler.
  Result client(std::vector<std::string> arguments);
  void addQueue(const std::string& name, const std::string& uri, const std::string& ppd);
  // Returns the job id.
  int print(const std::string& queue, const std::vector<std::string>& documents,
            const std::vector<std::string>& options = {});
  std::string log() const { return readFile(scratch / "log/error_log"); }
  // Until the job's lines of the log contain the text; returns these lines.
  std::string waitForLog(int job, const std::string& text);

 private:
  ScratchFolder scratch;
  std::unique_ptr<Process> scheduler;
};

}  // namespace test
