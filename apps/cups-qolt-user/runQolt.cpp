#include "apps/cups-qolt-user/runQolt.h"

#include <cups/backend.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <string_view>
#include <utility>

#include "apps/common/SigtermHold.h"
#include "base/plat/Exception.h"
#include "base/plat/unix/OwnedFd.h"

namespace {

constexpr size_t maxLine = 1024;  // bytes

volatile pid_t child = 0;  // 0: none runs
volatile sig_atomic_t cancelled = 0;

void passOn(int number) {
  const int error = errno;
  cancelled = 1;
  if (child == 0) _exit(CUPS_BACKEND_FAILED);
  kill(child, number);
  errno = error;
}

std::string pathOfQolt() {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  if (length < 0) throw plat::SystemException("readlink(/proc/self/exe)", errno);
  const std::string_view own(path, static_cast<size_t>(length));
  return std::string(own.substr(0, own.rfind('/') + 1)) + "qolt";
}

void start(const char* path, char* const* arguments, int errors) {
  const SigtermHold hold;
  // Ignored, which is inherited, it would keep from us how the child ended.
  signal(SIGCHLD, SIG_DFL);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigmask(&attributes, &hold.before());
  sigset_t ignored;
  sigemptyset(&ignored);
  sigaddset(&ignored, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &ignored);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  pid_t pid = 0;
  const int error = posix_spawn(&pid, path, &actions, &attributes, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  if (error) throw plat::SystemException(path, error);
  child = pid;
  struct sigaction action = {};
  action.sa_handler = passOn;
  action.sa_flags = SA_RESTART;
  sigaction(SIGTERM, &action, nullptr);
}

// Passes on until the other end is closed. Returns the last line.
std::string passLines(int from) {
  std::string last, line;
  char bytes[4096];
  for (ssize_t count; (count = read(from, bytes, sizeof bytes)) > 0;) {
    // Nobody may be listening any more, which is no reason for the job to fail.
    [[maybe_unused]] const ssize_t written =
        write(STDERR_FILENO, bytes, static_cast<size_t>(count));
    for (const char c : std::string_view(bytes, static_cast<size_t>(count))) {
      if (c != '\n') {
        if (line.size() < maxLine) line += c;
      } else if (!line.empty()) {
        last = std::exchange(line, "");
      }
    }
  }
  return line.empty() ? last : line;
}

}  // namespace

BackendEnd runQolt(char* const* arguments) {
  const std::string path = pathOfQolt();
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) < 0) throw plat::SystemException("pipe2", errno);
  const plat::OwnedFd out(ends[0]);
  plat::OwnedFd in(ends[1]);
  start(path.c_str(), arguments, in.get());
  in = plat::OwnedFd(-1);
  BackendEnd end;
  end.lastLine = passLines(out.get());

  // Its number is free for another process as soon as it has been waited for.
  siginfo_t info;
  while (waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT) < 0 && errno == EINTR) {
  }
  const SigtermHold hold;
  int status = 0;
  if (waitpid(child, &status, 0) < 0) throw plat::SystemException("waitpid", errno);
  child = 0;
  end.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  end.cancelled = cancelled;
  // A job that is delivered must not be printed once more.
  if (end.status == 0) signal(SIGTERM, SIG_IGN);
  return end;
}
