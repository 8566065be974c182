#include "apps/qolt-receiver/CommandRunner.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <vector>

#include "apps/qolt-receiver/Journal.h"
#include "base/plat/Exception.h"
#include "base/plat/LogSrc.h"
#include "base/plat/file.h"

namespace receiver {

static constinit plat::LogSrc log("CommandRunner");
static const plat::LogSrc::Listed listed(log);

namespace {

constexpr int minPauseS = 1, maxPauseS = 600;
constexpr int graceMs = 5000;

// How a command starts: its input, no descriptor but the standard ones, no signal held back.
class SpawnOptions : private plat::NonCopyable {
 public:
  explicit SpawnOptions(const char* input) {
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, input, O_RDONLY, 0);
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

// Which is held back. False when the time is over.
bool waitForChild(plat::Ticks until) {
  const plat::Ticks rest = std::max<plat::Ticks>(until - plat::monotonicNow(), 0);
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGCHLD);
  const timespec time{rest / plat::ticksPerSecond,
                      static_cast<long>(rest % plat::ticksPerSecond) * 100};
  return sigtimedwait(&signals, nullptr, &time) == SIGCHLD || errno == EINTR;
}

}  // namespace

CommandRunner::CommandRunner(const CommandLine& newCommand, Options newOptions, Journal& newJournal)
    : command(newCommand), options(newOptions), journal(newJournal), timer(this) {}

CommandRunner::~CommandRunner() {
  timer.stop();
  options.parallel = 0;
  const plat::Ticks until = plat::monotonicNow() + graceMs * plat::ticksPerMs;
  const auto isRunning = [](const Entry& entry) { return entry.pid != 0; };
  while (std::any_of(entries.begin(), entries.end(), isRunning) && waitForChild(until)) {
    childEnded();
  }
  for (Place entry = entries.begin(); entry != entries.end();) {
    if (entry->pid) {
      log.info("%s %s: still running", command.program().c_str(), entry->document.path.c_str());
      entry = isDone(entry);
    } else {
      log.info("%s: to be run later", entry->document.path.c_str());
      ++entry;
    }
  }
}

void CommandRunner::run(const Document& document) {
  entries.push_back({document});
  // What kept the others from it may have passed: somebody is there to print.
  for (Entry& entry : entries) entry.due = 0;
  startDue();
}

void CommandRunner::childEnded() {
  for (Place entry = entries.begin(); entry != entries.end();) entry = lookAfter(entry);
  startDue();
}

CommandRunner::Place CommandRunner::lookAfter(Place entry) {
  int status = -1;  // of one that has got away
  if (!entry->pid || waitpid(entry->pid, &status, WNOHANG) == 0) return std::next(entry);
  entry->pid = 0;
  const char* program = command.program().c_str();
  const char* path = entry->document.path.c_str();
  if (WIFSIGNALED(status)) {
    log.error("%s %s: signal %d", program, path, WTERMSIG(status));
  } else {
    log.log(WEXITSTATUS(status) ? plat::logError : plat::logInfo, "%s %s: status %d", program, path,
            WEXITSTATUS(status));
  }
  if (status == 0) return hasSucceeded(entry);
  hasFailed(*entry);
  return std::next(entry);
}

void CommandRunner::hasFailed(Entry& entry) {
  entry.pauseS = std::min(std::max(entry.pauseS * 2, minPauseS), maxPauseS);
  entry.due = plat::monotonicNow() + entry.pauseS * plat::ticksPerSecond;
}

CommandRunner::Place CommandRunner::hasSucceeded(Place entry) {
  if (options.removesDocument) {
    try {
      plat::fileRemove(entry->document.path.c_str());
    } catch (const plat::Exception& problem) {
      log.error("%s", problem.message);
    }
  }
  return isDone(entry);
}

CommandRunner::Place CommandRunner::isDone(Place entry) {
  journal.done(entry->document.number);
  const std::string jobId = entry->document.jobId;
  const Place next = entries.erase(entry);
  if (std::none_of(entries.begin(), entries.end(),
                   [&](const Entry& other) { return other.document.jobId == jobId; })) {
    log.info("job %s is done", jobId.c_str());
  }
  return next;
}

bool CommandRunner::timerExpired(plat::Timer*) {
  startDue();
  return false;
}

// Those whose turn it is, and the timer for those of them that pause.
void CommandRunner::startDue() {
  timer.stop();
  const plat::Ticks now = plat::monotonicNow();
  plat::Ticks next = INT64_MAX;
  int place = 0;
  for (Place entry = entries.begin(); entry != entries.end() && place < options.parallel;) {
    if (access(entry->document.path.c_str(), F_OK) < 0 && errno == ENOENT && !entry->pid) {
      log.info("%s has gone", entry->document.path.c_str());
      entry = isDone(entry);
      continue;
    }
    if (!entry->pid && entry->due <= now && !start(*entry)) hasFailed(*entry);
    if (!entry->pid) next = std::min(next, entry->due);
    ++entry;
    ++place;
  }
  if (next == INT64_MAX) return;
  timer.start(static_cast<int>((next - now) / plat::ticksPerMs) + 1);
}

bool CommandRunner::start(Entry& entry) {
  std::vector<std::string> words = command.wordsFor(entry.document);
  if (!options.usesStdin && !command.hasFile()) words.push_back(entry.document.path);
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  SpawnOptions how(options.usesStdin ? entry.document.path.c_str() : "/dev/null");
  const int error = posix_spawnp(&entry.pid, arguments[0], &how.actions, &how.attributes,
                                 arguments.data(), environ);
  if (error == 0) return true;
  entry.pid = 0;
  log.error("%s", plat::SystemException(arguments[0], error).message);
  return false;
}

}  // namespace receiver
