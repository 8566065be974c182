#pragma once

#include <cstring>
#include <string>

#include "tests/support/Command.h"

namespace test {

// What happens at the nth call of that name ("*": any) whose target begins with `target`
// ("*": any, also none). The target of a call is the path of its file, "stdin", "socket"
// or "pipe".
struct Fault {
  enum class Action { fail, kill, skip };

  std::string call;
  std::string target = "*";
  int nth = 1;
  Action action = Action::fail;
  int number = 0;  // fail: the errno value; kill: the signal, before the call is made

  // Of a program that runs with the privileges of its caller. It says "fault: CALL TARGET"
  // on standard error when the fault strikes.
  Command& into(Command& command) const {
    static const char* const actions[] = {"fail", "kill", "skip"};
    command.env("QOLT_TEST_FAULT", call + ":" + target + ":" + std::to_string(nth) + ":" +
                                       actions[static_cast<int>(action)] + ":" +
                                       std::to_string(number));
    command.env("LD_PRELOAD", QOLT_FAULTS);
    // Otherwise the sanitizer insists on being the first library.
    return command.env("ASAN_OPTIONS", "detect_leaks=0:verify_asan_link_order=0");
  }
};

inline Fault failing(const std::string& call, const std::string& target, int err, int nth = 1) {
  return {call, target, nth, Fault::Action::fail, err};
}

// The program is told that the call succeeded, but it was not made.
inline Fault skipped(const std::string& call) {
  return {call, "*", 1, Fault::Action::skip, 0};
}

inline Fault killedBy(int signal, const std::string& call, const std::string& target, int nth = 1) {
  return {call, target, nth, Fault::Action::kill, signal};
}

}  // namespace test
