#include "base/plat/file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "base/plat/Assertion.h"
#include "base/plat/DString.h"
#include "base/plat/path.h"
#include "base/plat/unix/OwnedFd.h"

namespace plat {

namespace {

constexpr mode_t permissionBits = 07777;
constexpr int maxLinks = 20;

// Throws unless the call was successful, whose error is in errno. A null path is left out.
void check(bool success, const char* name, const char* path = nullptr) {
  if (success) return;
  const int err = errno;
  if (path) throw SystemExceptionFmt("%s(%s)", err, name, path);
  throw SystemExceptionFmt("%s", err, name);
}

struct stat statOrThrow(const char* name, const char* path) {
  struct stat info;
  check(stat(path, &info) == 0, name, path);
  return info;
}

// `path`: the name by which the descriptor was found, which is of the O_PATH kind then;
// null: there is none.
void makePrivate(int fd, const char* path, uid_t user, bool directoryOnly = false) {
  struct stat info;
  const char* const statName = path ? "fileMakePrivate/stat" : "fileMakePrivate/fstat";
  check(fstat(fd, &info) == 0, statName, path);
  errno = ELOOP;
  check(!S_ISLNK(info.st_mode), statName, path);
  if (directoryOnly && !S_ISDIR(info.st_mode)) return;
  check(info.st_uid == user || fchownat(fd, "", user, -1, AT_EMPTY_PATH) == 0,
        path ? "fileMakePrivate/chown" : "fileMakePrivate/fchown", path);
  mode_t mode = S_ISDIR(info.st_mode) ? info.st_mode & 07700 : S_IRUSR | S_IWUSR;
  if (mode == (info.st_mode & permissionBits)) return;
  if (path) {
    // fchmod() refuses a descriptor of the O_PATH kind.
    check(chmod(strFormat("/proc/self/fd/%d", fd).get(), mode) == 0, "fileMakePrivate/chmod", path);
  } else {
    check(fchmod(fd, mode) == 0, "fileMakePrivate/fchmod");
  }
}

// The descriptor pins what the name meant: it cannot become another file between
// the calls.
void makePrivateByName(const char* path, uid_t user, bool directoryOnly) {
  OwnedFd pinned(open(path, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  check(pinned.get() >= 0, "fileMakePrivate/stat", path);
  makePrivate(pinned.get(), path, user, directoryOnly);
}

}  // namespace

String currentDir() {
  char* dir = getcwd(nullptr, 0);
  check(dir, "getcwd");
  return String::adopt(dir);
}

// Not realpath(): the limits on links and their targets, and the errors beyond them, are
// kept the same everywhere.
String absolutePath(const char* path) {
  PLAT_ASSERT(path[0] == '/');
  String walked(path);
  int links = 0;
  for (;;) {
    // The part of the result that is known to be free of links, no "/" at its end.
    DString resolved;
    bool restart = false;
    const char* rest = walked.get();
    while (!restart) {
      rest += strspn(rest, "/");
      if (!*rest) break;
      int length = static_cast<int>(strcspn(rest, "/"));
      const char* component = rest;
      rest += length;
      if (length == 1 && component[0] == '.') continue;
      if (length == 2 && component[0] == '.' && component[1] == '.') {
        if (const char* slash = strrchr(resolved.orEmpty(), '/')) {
          resolved.replace(static_cast<int>(slash - resolved.get()), resolved.length(), "");
        }
        continue;
      }

      int parentLength = resolved.length();
      resolved.append("/");
      resolved.append(component, length);
      struct stat info;
      check(lstat(resolved.get(), &info) == 0, "realpath", path);
      if (S_ISLNK(info.st_mode)) {
        if (++links > maxLinks) throw SystemExceptionFmt("realpath(%s)", ELOOP, path);
        char target[4096];
        ssize_t n = readlink(resolved.get(), target, sizeof target);
        check(n >= 0, "realpath", path);
        if (n == sizeof target) throw SystemExceptionFmt("realpath(%s)", EIO, path);
        DString replaced;
        if (target[0] != '/') {
          replaced.append(resolved.get(), parentLength);
          replaced.append("/");
        }
        replaced.append(target, static_cast<int>(n));
        replaced.append(rest);
        walked = replaced.release();
        restart = true;
      } else if (!S_ISDIR(info.st_mode) && rest[strspn(rest, "/")]) {
        throw SystemExceptionFmt("realpath(%s)", ENOTDIR, path);
      }
    }
    if (!restart) return resolved.length() > 0 ? resolved.release() : String("/");
  }
}

bool mkDir(const char* path, bool isPrivate, bool fixExisting) {
  if (mkdir(path, isPrivate ? 0700 : 0777) == 0) return true;
  int err = errno;
  struct stat info;
  if (stat(path, &info) != 0) throw SystemExceptionFmt("mkDir(%s)", err, path);
  if (fixExisting) makePrivateByName(path, geteuid(), true);
  return false;
}

bool mkDirMatchParent(const char* path) {
  struct stat parent;
  check(stat(dirName(path).get(), &parent) == 0, "mkDirMatchParent/stat");
  if (!mkDir(path, true)) return false;
  try {
    OwnedFd dir(open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    check(dir.get() >= 0, "mkDirMatchParent/stat");
    check(fchown(dir.get(), parent.st_uid, parent.st_gid) == 0, "mkDirMatchParent/chown");
    check(fchmod(dir.get(), parent.st_mode & permissionBits) == 0, "mkDirMatchParent/chmod");
  } catch (Exception&) {
    // Otherwise the next attempt would take the half-made directory for a good one.
    rmdir(path);
    throw;
  }
  return true;
}

void rmDir(const char* path) {
  check(rmdir(path) == 0, "rmDir", path);
}

void chDir(const char* path) {
  check(chdir(path) == 0, "chDir", path);
}

bool fileExists(const char* path) {
  struct stat info;
  bool exists = stat(path, &info) == 0;
  check(exists || errno == ENOENT || errno == ENOTDIR, "fileExists", path);
  return exists;
}

S64 fileGetSize(const char* path) {
  return statOrThrow("fileGetSize", path).st_size;
}

Ticks fileGetTime(const char* path) {
  return fromTimespec(statOrThrow("fileGetTime", path).st_mtim);
}

void fileSetTime(const char* path, Ticks modified) {
  timespec time = toTimespec(modified);
  const timespec times[] = {time, time};
  check(utimensat(AT_FDCWD, path, times, 0) == 0, "fileSetTime", path);
}

int fileOpenFd(const char* path, int flags, mode_t mode) {
  int fd = open(path, flags | O_CLOEXEC, mode);
  check(fd >= 0, "fileOpenFd", path);
  return fd;
}

void fileRemove(const char* path) {
  check(unlink(path) == 0, "fileRemove", path);
}

void fileRename(const char* from, const char* to) {
  if (rename(from, to) != 0) throw SystemExceptionFmt("fileRename(%s,%s)", errno, from, to);
}

void fileMakePrivate(int fd, uid_t user) {
  makePrivate(fd, nullptr, user);
}

void fileMakePrivate(const char* path, uid_t user) {
  makePrivateByName(path, user, false);
}

void fileMakeSticky(const char* path) {
  mode_t mode = statOrThrow("fileMakeSticky/stat", path).st_mode & permissionBits;
  check(chmod(path, mode | S_ISVTX) == 0, "fileMakeSticky/chmod", path);
}

void fileCopyPerms(const char* from, int fd) {
  mode_t mode = statOrThrow("fileCopyPerms/stat", from).st_mode & permissionBits;
  check(fchmod(fd, mode) == 0, "fileCopyPerms/fchmod");
}

void checkPermissions(const char* path, std::initializer_list<uid_t> trusted) {
  struct stat info = statOrThrow("stat", path);
  struct stat linkInfo;
  check(lstat(path, &linkInfo) == 0, "lstat", path);
  auto isTrusted = [&](uid_t user) {
    return std::find(trusted.begin(), trusted.end(), user) != trusted.end();
  };
  if (!isTrusted(info.st_uid) || !isTrusted(linkInfo.st_uid) ||
      (info.st_mode & (S_IWGRP | S_IWOTH))) {
    throw ExceptionFmt("%s: permissions are not restrictive enough", path);
  }
}

void fileTruncate(int fd, S64 size) {
  check(ftruncate(fd, size) == 0, "fileTruncate()");
}

void fileTruncate(FILE* file, S64 size) {
  check(fflush(file) == 0, "fileTruncate()");
  fileTruncate(fileno(file), size);
}

S64 fileTell(int fd) {
  S64 position = lseek(fd, 0, SEEK_CUR);
  check(position >= 0, "fileTell");
  return position;
}

S64 fileTell(FILE* file) {
  S64 position = ftello(file);
  check(position >= 0, "fileTell");
  return position;
}

void fileSeek(int fd, S64 offset, int whence) {
  check(lseek(fd, offset, whence) >= 0, "fileSeek");
}

void fileSeek(FILE* file, S64 offset, int whence) {
  check(fseeko(file, offset, whence) == 0, "fileSeek");
}

void fileLock(int fd, bool exclusive) {
  while (flock(fd, exclusive ? LOCK_EX : LOCK_SH) != 0) check(errno == EINTR, "fileLock");
}

void fileUnlock(int fd) {
  check(flock(fd, LOCK_UN) == 0, "fileUnlock");
}

bool fileIsSameAsFd(const char* path, int fd) {
  struct stat opened;
  check(fstat(fd, &opened) == 0, "fileIsSameAsFd/fstat");
  struct stat named = statOrThrow("fileIsSameAsFd/stat", path);
  return opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

String uniqueFileName(const char* dir, const char* name, const char* separator, int limit) {
  const char* extension = strrchr(name, '.');
  if (!extension) extension = name + strlen(name);
  String path = join(dir, name);
  for (int counter = 0; fileExists(path.get());) {
    if (counter >= limit) throw Exception("Too many files with same name");
    DString candidate;
    candidate.append(name, static_cast<int>(extension - name));
    candidate.appendFormat("%s%d%s", separator, ++counter, extension);
    path = join(dir, candidate.get());
  }
  return path;
}

void readFully(int fd, void* data, size_t n) {
  char* at = static_cast<char*>(data);
  while (n > 0) {
    // More than SSIZE_MAX is not defined.
    ssize_t got = read(fd, at, std::min<size_t>(n, INT_MAX));
    if (got == 0) throw Exception("End of file");
    check(got > 0 || errno == EINTR, "reading from file failed");
    if (got < 0) continue;
    at += got;
    n -= got;
  }
}

}  // namespace plat
