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
  Command clientCommand(std::vector<std::string> arguments) const;
  Result client(std::vector<std::string> arguments) const {
    return clientCommand(std::move(arguments)).run();
  }
  // The options are those of lpadmin.
  void addQueue(const std::string& name, const std::string& uri, const std::string& ppd,
                const std::vector<std::string>& options = {});
  // Returns the job id.
  int print(const std::string& queue, const std::vector<std::string>& documents,
            const std::vector<std::string>& options = {});
  // Jobs of one document each, sent by clients that run side by side. Returns the ids.
  struct Job {
    std::string queue, document;
  };
  std::vector<int> printTogether(const std::vector<Job>& jobs);
  std::string log() const { return readFile(scratch / "log/error_log"); }
  // Until the job's lines of the log contain the text; returns these lines.
  std::string waitForLog(int job, const std::string& text);

 private:
  ScratchFolder scratch;
  std::unique_ptr<Process> scheduler;
};

}  // namespace test
