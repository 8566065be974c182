#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/Account.h"

namespace test {

struct Result {
  int status;  // exit status, or 128 and the signal
  std::string out, err;
};

// How to run a real program. Nothing of the environment reaches it but PATH.
struct Command {
  explicit Command(std::vector<std::string> programAndArguments)
      : arguments(std::move(programAndArguments)) {}

  Command& env(const std::string& name, const std::string& value);
  Command& as(const Account& user);
  Command& input(const std::string& bytes);
  Command& keepInputOpen();  // its standard input does not end before endInput()
  Command& breakErrors();    // nobody reads its standard error
  // Runs in the child, as root, once the program is open; false: status 99.
  Command& before(std::function<bool()> newHook);
  Result run() const;

  std::vector<std::string> arguments;
  std::vector<std::string> environment;
  Account account;
  std::string bytes;
  bool inputStaysOpen = false;
  bool errorsBroken = false;
  std::function<bool()> hook;
};

// Resident bytes of a running program, 0 when there is none.
uint64_t peakMemory(pid_t pid);

// A command in a child process. Whatever waits gives up after a minute with a test
// failure and kills the child. The destructor ends it, with SIGTERM if that helps.
class Process {
 public:
  explicit Process(const Command& command);
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process();

  // Until standard output or standard error contain the text; false at their end.
  bool waitFor(const std::string& text);
  void endInput(const std::string& lastBytes);
  void signal(int number);
  uint64_t peakMemory() const { return test::peakMemory(pid); }
  size_t openDescriptors() const;
  Result wait();

 private:
  bool pump(const std::function<bool()>& done);
  void reap();

  std::string name;
  std::string pendingInput;
  bool inputStaysOpen;
  pid_t pid;
  int inFd, outFd, errFd;
  Result result{-1, "", ""};
};

}  // namespace test
