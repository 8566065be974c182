#include "apps/qolt-receiver/CommandRunner.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "base/plat/Exception.h"
#include "base/plat/LogSrc.h"
#include "base/plat/Splitter.h"
#include "base/plat/String.h"

namespace receiver {

static constinit plat::LogSrc log("CommandRunner");
static const plat::LogSrc::Listed listed(log);

namespace {

constexpr size_t maxRunning = 8;

// How a command starts: no input, no descriptor but the standard ones, no signal held back.
class SpawnOptions : private plat::NonCopyable {
 public:
  SpawnOptions() {
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    posix_spawnattr_init(&attributes);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    sigaddset(&signals, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~SpawnOptions() {
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
  }

  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
};

}  // namespace

CommandRunner::CommandRunner(const char* command) {
  plat::String text(command);
  plat::Splitter splitter(text.data());
  while (const char* word = splitter.next(' ', true)) words.push_back(word);
}

CommandRunner::~CommandRunner() {
  for (const std::string& file : waiting) {
    log.error("%s not run for %s", words[0].c_str(), file.c_str());
  }
}

void CommandRunner::run(const std::string& file) {
  if (words.empty()) return;
  waiting.push_back(file);
  startWaiting();
}

void CommandRunner::childEnded() {
  for (auto at = running.begin(); at != running.end();) {
    int status = 0;
    if (waitpid(at->first, &status, WNOHANG) == 0) {
      ++at;
      continue;
    }
    if (WIFSIGNALED(status)) {
      log.error("%s %s: signal %d", words[0].c_str(), at->second.c_str(), WTERMSIG(status));
    } else {
      log.log(WEXITSTATUS(status) ? plat::logError : plat::logInfo, "%s %s: status %d",
              words[0].c_str(), at->second.c_str(), WEXITSTATUS(status));
    }
    at = running.erase(at);
  }
  startWaiting();
}

void CommandRunner::startWaiting() {
  while (!waiting.empty() && running.size() < maxRunning) {
    const std::string file = std::move(waiting.front());
    waiting.pop_front();
    start(file);
  }
}

void CommandRunner::start(const std::string& file) {
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  std::string last = file;
  arguments.push_back(last.data());
  arguments.push_back(nullptr);
  SpawnOptions options;
  pid_t pid;
  int error = posix_spawnp(&pid, arguments[0], &options.actions, &options.attributes,
                           arguments.data(), environ);
  if (error) {
    log.error("%s", plat::SystemException(arguments[0], error).message);
  } else {
    running.emplace(pid, file);
  }
}

}  // namespace receiver
