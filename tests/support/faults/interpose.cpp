// Stands in front of the C library, when preloaded into a program, and makes one call
// fail: QOLT_TEST_FAULT=CALL:TARGET:N:ACTION:NUMBER, see Fault.h. What stdio does inside
// the C library is out of reach, so fwrite and fclose stand for its writes.

#include <dlfcn.h>
#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

namespace {

struct {
  char call[32], target[128], action[8];
  int callsLeft;
  int number;
} fault;

constexpr int maxFds = 1024;
char names[maxFds][128] = {"stdin"};

// The runtime of a sanitizer makes calls before.
__attribute__((constructor)) void readFault() {
  const char* text = getenv("QOLT_TEST_FAULT");
  if (text && sscanf(text, "%31[^:]:%127[^:]:%d:%7[^:]:%d", fault.call, fault.target,
                     &fault.callsLeft, fault.action, &fault.number) != 5) {
    abort();
  }
}

// Not stdio and not write(): both stand here.
void say(const char* text) {
  syscall(SYS_write, STDERR_FILENO, text, strlen(text));
}

// The result of a call that is not to be made, with errno set. A null target is out of
// bounds.
std::optional<int> instead(const char* call, const char* target = "") {
  if (fault.callsLeft == 0 || !target) return {};
  if (strcmp(fault.call, "*") != 0 && strcmp(fault.call, call) != 0) return {};
  if (strcmp(fault.target, "*") != 0 && strncmp(target, fault.target, strlen(fault.target)) != 0) {
    return {};
  }
  if (--fault.callsLeft > 0) return {};
  for (const char* part : {"fault: ", call, " ", target, "\n"}) say(part);
  switch (fault.action[0]) {
    case 'k':
      kill(getpid(), fault.number);
      return {};
    case 's':
      return 0;
    default:
      errno = fault.number;
      return -1;
  }
}

// Messages on standard output and error must stay.
const char* nameOf(int fd) {
  return fd == STDOUT_FILENO || fd == STDERR_FILENO || fd < 0 || fd >= maxFds ? nullptr : names[fd];
}

int named(int fd, const char* name) {
  if (fd >= 0 && fd < maxFds) snprintf(names[fd], sizeof names[fd], "%s", name);
  return fd;
}

template <class Function>
Function* next(const char* symbol, Function&) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, symbol));
}

}  // namespace

extern "C" {

#define INTERPOSE(result, name, symbol, target, parameters, arguments) \
  result name parameters {                                             \
    if (auto failed = instead(#name, target)) return *failed;          \
    return next(symbol, name) arguments;                               \
  }
#define INTERPOSE_FD(result, name, symbol, parameters, arguments) \
  INTERPOSE(result, name, symbol, nameOf(fd), parameters, arguments)
#define INTERPOSE_ID(name, parameters, arguments) \
  INTERPOSE(int, name, #name, "", parameters, arguments)

INTERPOSE_FD(ssize_t, read, "read", (int fd, void* data, size_t size), (fd, data, size))
INTERPOSE_FD(ssize_t, pread, "pread64", (int fd, void* data, size_t size, off_t at),
             (fd, data, size, at))
INTERPOSE_FD(ssize_t, write, "write", (int fd, const void* data, size_t size), (fd, data, size))
INTERPOSE_FD(ssize_t, tee, "tee", (int fd, int to, size_t size, unsigned flags),
             (fd, to, size, flags))
INTERPOSE_FD(int, fchown, "fchown", (int fd, uid_t uid, gid_t gid) noexcept, (fd, uid, gid))
INTERPOSE_FD(int, fstat, "fstat64", (int fd, struct stat* info) noexcept, (fd, info))
INTERPOSE_FD(int, connect, "connect", (int fd, const sockaddr* address, socklen_t size),
             (fd, address, size))
INTERPOSE_FD(int, setsockopt, "setsockopt",
             (int fd, int level, int option, const void* value, socklen_t size) noexcept,
             (fd, level, option, value, size))
INTERPOSE_FD(int, getsockopt, "getsockopt",
             (int fd, int level, int option, void* value, socklen_t* size) noexcept,
             (fd, level, option, value, size))
INTERPOSE(int, lstat, "lstat64", path, (const char* path, struct stat* info) noexcept, (path, info))
INTERPOSE(int, unlink, "unlink", path, (const char* path) noexcept, (path))
INTERPOSE_ID(setgid, (gid_t gid) noexcept, (gid))
INTERPOSE_ID(setgroups, (size_t count, const gid_t* groups) noexcept, (count, groups))
INTERPOSE_ID(setuid, (uid_t uid) noexcept, (uid))
INTERPOSE_ID(getresuid, (uid_t * real, uid_t* effective, uid_t* saved) noexcept,
             (real, effective, saved))
INTERPOSE_ID(getgroups, (int count, gid_t* groups) noexcept, (count, groups))
INTERPOSE(long, sysconf, "sysconf", "", (int name) noexcept, (name))
INTERPOSE_ID(poll, (pollfd * fds, nfds_t count, int timeout), (fds, count, timeout))
INTERPOSE_ID(select, (int count, fd_set* in, fd_set* out, fd_set* other, timeval* timeout),
             (count, in, out, other, timeout))

// What a checked read of the program under test becomes.
ssize_t __read_chk(int fd, void* data, size_t size, size_t) {
  return read(fd, data, size);
}

int fcntl(int fd, int command, ...) {
  va_list list;
  va_start(list, command);
  void* argument = va_arg(list, void*);
  va_end(list);
  if (auto failed = instead("fcntl", nameOf(fd))) return *failed;
  return next("fcntl64", fcntl)(fd, command, argument);
}

int open(const char* path, int flags, ...) {
  va_list list;
  va_start(list, flags);
  mode_t mode = flags & O_CREAT ? va_arg(list, mode_t) : 0;
  va_end(list);
  if (auto failed = instead("open", path)) return *failed;
  return named(next("open64", open)(path, flags, mode), path);
}

int socket(int domain, int type, int protocol) noexcept {
  if (auto failed = instead("socket")) return *failed;
  return named(next("socket", socket)(domain, type, protocol), "socket");
}

int pipe2(int ends[2], int flags) noexcept {
  if (auto failed = instead("pipe2")) return *failed;
  int result = next("pipe2", pipe2)(ends, flags);
  for (int i = 0; result == 0 && i < 2; i++) named(ends[i], "pipe");
  return result;
}

// The descriptor is gone in any case.
int close(int fd) {
  auto failed = instead("close", nameOf(fd));
  int error = errno;
  int result = next("close", close)(fd);
  named(fd, "");
  if (failed) errno = error;
  return failed.value_or(result);
}

FILE* fdopen(int fd, const char* mode) noexcept {
  return instead("fdopen", nameOf(fd)) ? nullptr : next("fdopen", fdopen)(fd, mode);
}

size_t fwrite(const void* data, size_t size, size_t count, FILE* file) {
  return instead("fwrite", nameOf(fileno(file))) ? 0
                                                 : next("fwrite", fwrite)(data, size, count, file);
}

int fclose(FILE* file) {
  int fd = fileno(file);
  auto failed = instead("fclose", nameOf(fd));
  int error = errno;
  int result = next("fclose", fclose)(file);
  named(fd, "");
  if (failed) errno = error;
  return failed ? EOF : result;
}

void* dlopen(const char* file, int mode) noexcept {
  return instead("dlopen", file) ? nullptr : next("dlopen", dlopen)(file, mode);
}

int getpwuid_r(uid_t uid, passwd* entry, char* buffer, size_t size, passwd** found) {
  *found = nullptr;
  if (instead("getpwuid_r")) return errno;
  return next("getpwuid_r", getpwuid_r)(uid, entry, buffer, size, found);
}

}  // extern "C"
