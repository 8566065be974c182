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

struct stat statOrThrow(const char* message, const char* path) {
  struct stat info;
  if (stat(path, &info) != 0) throw SystemExceptionFmt("%s(%s)", errno, message, path);
  return info;
}

mode_t privateMode(const struct stat& info) {
  return S_ISDIR(info.st_mode) ? info.st_mode & 07700 : S_IRUSR | S_IWUSR;
}

// The descriptor pins what the name meant: it cannot become another file between
// the calls. False when only a directory is wanted and it is none.
bool makePrivateByName(const char* path, uid_t user, bool directoryOnly) {
  OwnedFd pinned(open(path, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  struct stat info;
  if (pinned.get() < 0 || fstat(pinned.get(), &info) != 0) {
    throw SystemExceptionFmt("fileMakePrivate/stat(%s)", errno, path);
  }
  if (S_ISLNK(info.st_mode)) throw SystemExceptionFmt("fileMakePrivate/stat(%s)", ELOOP, path);
  if (directoryOnly && !S_ISDIR(info.st_mode)) return false;
  if (info.st_uid != user && fchownat(pinned.get(), "", user, -1, AT_EMPTY_PATH) != 0) {
    throw SystemExceptionFmt("fileMakePrivate/chown(%s)", errno, path);
  }
  // fchmod() refuses a descriptor of this kind.
  DString alias;
  alias.appendFormat("/proc/self/fd/%d", pinned.get());
  mode_t mode = privateMode(info);
  if (mode != (info.st_mode & permissionBits) && chmod(alias.get(), mode) != 0) {
    throw SystemExceptionFmt("fileMakePrivate/chmod(%s)", errno, path);
  }
  return true;
}

}  // namespace

String currentDir() {
  char* dir = getcwd(nullptr, 0);
  if (!dir) throw SystemExceptionFmt("getcwd", errno);
  return String::adopt(dir);
}

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
      if (lstat(resolved.get(), &info) != 0) throw SystemExceptionFmt("realpath(%s)", errno, path);
      if (S_ISLNK(info.st_mode)) {
        if (++links > maxLinks) throw SystemExceptionFmt("realpath(%s)", ELOOP, path);
        char target[4096];
        ssize_t n = readlink(resolved.get(), target, sizeof target);
        if (n < 0) throw SystemExceptionFmt("realpath(%s)", errno, path);
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
  if (stat(dirName(path).get(), &parent) != 0) {
    throw SystemExceptionFmt("mkDirMatchParent/stat", errno);
  }
  if (!mkDir(path, true)) return false;
  try {
    OwnedFd dir(open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat info;
    if (dir.get() < 0 || fstat(dir.get(), &info) != 0) {
      throw SystemExceptionFmt("mkDirMatchParent/stat", errno);
    }
    if ((info.st_uid != parent.st_uid || info.st_gid != parent.st_gid) &&
        fchown(dir.get(), parent.st_uid, parent.st_gid) != 0) {
      throw SystemExceptionFmt("mkDirMatchParent/chown", errno);
    }
    if (fchmod(dir.get(), parent.st_mode & permissionBits) != 0) {
      throw SystemExceptionFmt("mkDirMatchParent/chmod", errno);
    }
  } catch (Exception&) {
    // Otherwise the next attempt would take the half-made directory for a good one.
    rmdir(path);
    throw;
  }
  return true;
}

void rmDir(const char* path) {
  if (rmdir(path) != 0) throw SystemExceptionFmt("rmDir(%s)", errno, path);
}

void chDir(const char* path) {
  if (chdir(path) != 0) throw SystemExceptionFmt("chDir(%s)", errno, path);
}

bool fileExists(const char* path) {
  struct stat info;
  if (stat(path, &info) == 0) return true;
  if (errno == ENOENT || errno == ENOTDIR) return false;
  throw SystemExceptionFmt("fileExists(%s)", errno, path);
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
  if (utimensat(AT_FDCWD, path, times, 0) != 0) {
    throw SystemExceptionFmt("fileSetTime(%s)", errno, path);
  }
}

int fileOpenFd(const char* path, int flags, mode_t mode) {
  int fd = open(path, flags | O_CLOEXEC, mode);
  if (fd < 0) throw SystemExceptionFmt("fileOpenFd(%s)", errno, path);
  return fd;
}

void fileRemove(const char* path) {
  if (unlink(path) != 0) throw SystemExceptionFmt("fileRemove(%s)", errno, path);
}

void fileRename(const char* from, const char* to) {
  if (rename(from, to) != 0) throw SystemExceptionFmt("fileRename(%s,%s)", errno, from, to);
}

void fileMakePrivate(int fd, uid_t user) {
  struct stat info;
  if (fstat(fd, &info) != 0) throw SystemExceptionFmt("fileMakePrivate/fstat", errno);
  if (info.st_uid != user && fchown(fd, user, -1) != 0) {
    throw SystemExceptionFmt("fileMakePrivate/fchown", errno);
  }
  mode_t mode = privateMode(info);
  if (mode != (info.st_mode & permissionBits) && fchmod(fd, mode) != 0) {
    throw SystemExceptionFmt("fileMakePrivate/fchmod", errno);
  }
}

void fileMakePrivate(const char* path, uid_t user) {
  makePrivateByName(path, user, false);
}

void fileMakeSticky(const char* path) {
  mode_t mode = statOrThrow("fileMakeSticky/stat", path).st_mode & permissionBits;
  if (chmod(path, mode | S_ISVTX) != 0) {
    throw SystemExceptionFmt("fileMakeSticky/chmod(%s)", errno, path);
  }
}

void fileCopyPerms(const char* from, int fd) {
  mode_t mode = statOrThrow("fileCopyPerms/stat", from).st_mode & permissionBits;
  if (fchmod(fd, mode) != 0) throw SystemExceptionFmt("fileCopyPerms/fchmod", errno);
}

void checkPermissions(const char* path, std::initializer_list<uid_t> trusted) {
  struct stat info = statOrThrow("stat", path);
  struct stat linkInfo;
  if (lstat(path, &linkInfo) != 0) throw SystemExceptionFmt("lstat(%s)", errno, path);
  auto isTrusted = [&](uid_t user) {
    return std::find(trusted.begin(), trusted.end(), user) != trusted.end();
  };
  if (!isTrusted(info.st_uid) || !isTrusted(linkInfo.st_uid) ||
      (info.st_mode & (S_IWGRP | S_IWOTH))) {
    throw ExceptionFmt("%s: permissions are not restrictive enough", path);
  }
}

void fileTruncate(int fd, S64 size) {
  if (ftruncate(fd, size) != 0) throw SystemExceptionFmt("fileTruncate()", errno);
}

void fileTruncate(FILE* file, S64 size) {
  if (fflush(file) != 0) throw SystemExceptionFmt("fileTruncate()", errno);
  fileTruncate(fileno(file), size);
}

S64 fileTell(int fd) {
  S64 position = lseek(fd, 0, SEEK_CUR);
  if (position < 0) throw SystemExceptionFmt("fileTell", errno);
  return position;
}

S64 fileTell(FILE* file) {
  S64 position = ftello(file);
  if (position < 0) throw SystemExceptionFmt("fileTell", errno);
  return position;
}

void fileSeek(int fd, S64 offset, int whence) {
  if (lseek(fd, offset, whence) < 0) throw SystemExceptionFmt("fileSeek", errno);
}

void fileSeek(FILE* file, S64 offset, int whence) {
  if (fseeko(file, offset, whence) != 0) throw SystemExceptionFmt("fileSeek", errno);
}

void fileLock(int fd, bool exclusive) {
  while (flock(fd, exclusive ? LOCK_EX : LOCK_SH) != 0) {
    if (errno != EINTR) throw SystemExceptionFmt("fileLock", errno);
  }
}

void fileUnlock(int fd) {
  if (flock(fd, LOCK_UN) != 0) throw SystemExceptionFmt("fileUnlock", errno);
}

bool fileIsSameAsFd(const char* path, int fd) {
  struct stat opened;
  if (fstat(fd, &opened) != 0) throw SystemExceptionFmt("fileIsSameAsFd/fstat", errno);
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
    if (got < 0) {
      if (errno == EINTR) continue;
      throw SystemExceptionFmt("reading from file failed", errno);
    }
    at += got;
    n -= got;
  }
}

}  // namespace plat
