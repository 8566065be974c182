#pragma once

#include <sys/types.h>

#include <deque>
#include <map>
#include <string>
#include <vector>

#include "base/plat/NonCopyable.h"

namespace receiver {

// Runs a command for one file after another, a few side by side, without a shell. How each
// ended is logged. Belongs to one thread.
class CommandRunner : private plat::NonCopyable {
 public:
  // The words of the command are separated by blanks. Without any, run() does nothing.
  explicit CommandRunner(const char* command);
  // Leaves what runs to itself; what is still waiting is logged.
  ~CommandRunner();

  // Runs the command, which is looked up in PATH, with the file as its last argument, or
  // has it wait for its turn.
  void run(const std::string& file);
  // To be called on SIGCHLD.
  void childEnded();

 private:
  void startWaiting();
  void start(const std::string& file);

  std::vector<std::string> words;
  std::deque<std::string> waiting;
  std::map<pid_t, std::string> running;  // the file of each
};

}  // namespace receiver
