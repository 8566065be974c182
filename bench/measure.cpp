// measure FILE COMMAND [ARG...]: runs the command on this standard input and
// appends "user sys wall maxrss status" to FILE: microseconds, and KiB for maxrss.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

static long long microseconds(const timeval& time) {
  return time.tv_sec * 1000000LL + time.tv_usec;
}

int main(int argc, char** argv) {
  if (argc < 3) {
    fprintf(stderr, "Usage: measure FILE COMMAND [ARG...]\n");
    return 2;
  }
  auto start = std::chrono::steady_clock::now();
  pid_t child = vfork();
  if (child == 0) {
    execvp(argv[2], argv + 2);
    _exit(127);
  }
  int status = 0;
  rusage usage = {};
  if (child < 0 || wait4(child, &status, 0, &usage) < 0) {
    perror("measure");
    return 2;
  }
  auto wall = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - start);
  FILE* out = fopen(argv[1], "ae");
  if (!out) {
    perror(argv[1]);
    return 2;
  }
  fprintf(out, "%lld %lld %lld %ld %d\n", microseconds(usage.ru_utime),
          microseconds(usage.ru_stime), static_cast<long long>(wall.count()), usage.ru_maxrss,
          WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
  return fclose(out) == 0 ? 0 : 2;
}
