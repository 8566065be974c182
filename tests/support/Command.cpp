#include "tests/support/Command.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace test {

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds patience(60);

struct Pipe {
  int ends[2];
  Pipe() {
    if (pipe2(ends, O_CLOEXEC) < 0) throw std::runtime_error("pipe2");
  }
};

void closeEnd(int& fd) {
  if (fd >= 0) close(std::exchange(fd, -1));
}

// At the end of the data closes the descriptor.
void drain(int& fd, std::string& text) {
  char block[65536];
  ssize_t n = read(fd, block, sizeof(block));
  if (n > 0) {
    text.append(block, static_cast<size_t>(n));
  } else {
    closeEnd(fd);
  }
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> list;
  for (std::string& text : texts) list.push_back(text.data());
  list.push_back(nullptr);
  return list;
}

[[noreturn]] void execute(Command command, int in, int out, int err) {
  ::signal(SIGPIPE, SIG_DFL);
  dup2(in, STDIN_FILENO);
  dup2(out, STDOUT_FILENO);
  dup2(err, STDERR_FILENO);
  // Opened as root: the account may not be able to reach the folder.
  int program = open(command.arguments[0].c_str(), O_PATH | O_CLOEXEC);
  if (program < 0 || (command.hook && !command.hook())) _exit(99);
  const Account& account = command.account;
  if (account.found &&
      (setgroups(1, &account.gid) < 0 || setgid(account.gid) < 0 || setuid(account.uid) < 0)) {
    _exit(99);
  }
  command.env("PATH", "/usr/sbin:/usr/bin:/sbin:/bin");
  // A process that changed its ids cannot be traced, which the leak check needs.
  command.env("ASAN_OPTIONS", "detect_leaks=0");
  execveat(program, "", pointers(command.arguments).data(), pointers(command.environment).data(),
           AT_EMPTY_PATH);
  perror(command.arguments[0].c_str());
  _exit(99);
}

}  // namespace

Command& Command::env(const std::string& name, const std::string& value) {
  environment.push_back(name + "=" + value);
  return *this;
}

Command& Command::as(const Account& user) {
  account = user;
  return *this;
}

Command& Command::input(const std::string& newBytes) {
  bytes = newBytes;
  return *this;
}

Command& Command::keepInputOpen() {
  inputStaysOpen = true;
  return *this;
}

Command& Command::breakErrors() {
  errorsBroken = true;
  return *this;
}

Command& Command::before(std::function<bool()> newHook) {
  hook = std::move(newHook);
  return *this;
}

Result Command::run() const {
  return Process(*this).wait();
}

uint64_t peakMemory(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  uint64_t kib = 0;
  for (std::string line; std::getline(status, line);) sscanf(line.c_str(), "VmHWM: %lu", &kib);
  return kib * 1024;
}

Process::Process(const Command& command)
    : name(command.arguments[0]),
      pendingInput(command.bytes),
      inputStaysOpen(command.inputStaysOpen) {
  ::signal(SIGPIPE, SIG_IGN);
  Pipe in, out, err;
  pid = fork();
  if (pid < 0) throw std::runtime_error("fork");
  if (pid == 0) execute(command, in.ends[0], out.ends[1], err.ends[1]);
  close(in.ends[0]);
  close(out.ends[1]);
  close(err.ends[1]);
  inFd = in.ends[1];
  outFd = out.ends[0];
  errFd = err.ends[0];
  fcntl(inFd, F_SETFL, O_NONBLOCK);
  if (command.errorsBroken) closeEnd(errFd);
}

Process::~Process() {
  if (pid > 0) {
    kill(pid, SIGTERM);
    siginfo_t ended = {};
    auto deadline = Clock::now() + std::chrono::seconds(10);
    while (waitid(P_PID, pid, &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid == 0) {
      if (Clock::now() > deadline) kill(pid, SIGKILL);
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    reap();
  }
  for (int* fd : {&inFd, &outFd, &errFd}) closeEnd(*fd);
}

void Process::endInput(const std::string& lastBytes) {
  pendingInput += lastBytes;
  inputStaysOpen = false;
}

bool Process::pump(const std::function<bool()>& done) {
  auto deadline = Clock::now() + patience;
  while (!done()) {
    if (pendingInput.empty() && !inputStaysOpen) closeEnd(inFd);
    if (outFd < 0 && errFd < 0) return false;
    pollfd fds[3] = {
        {outFd, POLLIN, 0}, {errFd, POLLIN, 0}, {pendingInput.empty() ? -1 : inFd, POLLOUT, 0}};
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0 || poll(fds, 3, static_cast<int>(left.count())) <= 0) {
      ADD_FAILURE() << name << " takes too long\n" << result.out << result.err;
      kill(pid, SIGKILL);
      return false;
    }
    if (fds[0].revents) drain(outFd, result.out);
    if (fds[1].revents) drain(errFd, result.err);
    if (fds[2].revents) {
      ssize_t n = write(inFd, pendingInput.data(), pendingInput.size());
      pendingInput.erase(0, n < 0 ? pendingInput.size() : static_cast<size_t>(n));
    }
  }
  return true;
}

bool Process::waitFor(const std::string& text) {
  return pump([&] {
    return result.out.find(text) != std::string::npos || result.err.find(text) != std::string::npos;
  });
}

void Process::signal(int number) {
  kill(pid, number);
}

size_t Process::openDescriptors() const {
  std::filesystem::directory_iterator open("/proc/" + std::to_string(pid) + "/fd");
  return static_cast<size_t>(std::distance(begin(open), end(open)));
}

Result Process::wait() {
  pump([] { return false; });
  reap();
  return result;
}

void Process::reap() {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  pid = -1;
  result.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace test
