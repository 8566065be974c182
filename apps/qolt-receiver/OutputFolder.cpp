#include "apps/qolt-receiver/OutputFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "apps/common/newFile.h"
#include "base/os/unix/DirEnum.h"
#include "base/plat/Exception.h"
#include "base/plat/file.h"
#include "base/plat/path.h"
#include "base/plat/utf8.h"

namespace receiver {

namespace {

constexpr int maxTitleLength = 100;  // bytes
constexpr int maxNames = 10000;

plat::String absolute(const char* path) {
  if (plat::isAbsolute(path)) return plat::absolutePath(path);
  return plat::absolutePath(plat::join(plat::currentDir().get(), path).get());
}

plat::OwnedFd openFolder(const char* path) {
  return plat::OwnedFd(plat::fileOpenFd(path, O_RDONLY | O_DIRECTORY));
}

constexpr char partSuffix[] = ".part";

bool areOneFile(const char* path, const char* other) {
  struct stat status, otherStatus;
  return lstat(path, &status) == 0 && lstat(other, &otherStatus) == 0 &&
         status.st_dev == otherStatus.st_dev && status.st_ino == otherStatus.st_ino;
}

// Returns 0 or the error.
int renameWithoutReplacing(const char* from, const char* to) {
  if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return 0;
  // Not every file system can do that,
  if (errno != EINVAL) return errno;
  if (link(from, to) == 0) {
    plat::fileRemove(from);
    return 0;
  }
  // and some of those cannot link. An empty file takes the name then, and is replaced; closed, as
  // the host of a shared folder may want it.
  if (errno != EPERM && errno != EOPNOTSUPP && errno != ENOSYS) return errno;
  const int own = open(to, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (own < 0) return errno;
  close(own);
  if (rename(from, to) == 0) return 0;
  const int error = errno;
  unlink(to);
  return error;
}

}  // namespace

std::string documentStem(const std::string& title, const char* extension, size_t index) {
  std::string suffix = std::string(".") + extension;
  std::string stem = title;
  if (plat::endsWithNoCase(stem.c_str(), suffix.c_str())) {
    stem.resize(stem.size() - suffix.size());
  }
  stem = plat::fixUtf8(stem.c_str(), nullptr, maxTitleLength).orEmpty();
  for (char& c : stem) {
    unsigned char byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7f || c == '/') c = '_';
  }
  if (stem.empty()) stem = "document";
  if (stem[0] == '.' || stem[0] == '-') stem[0] = '_';
  return stem + "-" + std::to_string(index);
}

OutputFolder::OutputFolder(const char* folderPath, const std::string& owner)
    : path(absolute(folderPath)), folder(openFolder(path.get())), prefix(".qolt-" + owner + ".") {}

void OutputFolder::openAgain() {
  folder = openFolder(path.get());
}

std::string OutputFolder::pathOf(const std::string& name) const {
  return plat::join(path.get(), name.c_str()).get();
}

std::string OutputFolder::addPart(const std::function<void(FILE*)>& write) {
  // Those of a process that was killed may still be wanted.
  std::string name;
  do {
    name = hiddenName(std::to_string(++lastPart) + partSuffix);
  } while (has(name));
  plat::OwnedFd fd(openat(folder.get(), name.c_str(),
                          O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (fd.get() < 0) throw plat::SystemExceptionFmt("open(%s)", errno, pathOf(name).c_str());
  writeNewFile(std::move(fd), folder.get(), name.c_str(), [&](FILE* file) {
    write(file);
    // Libraries flush, too, and may pass over what that says.
    if (ferror(file)) {
      throw plat::SystemExceptionFmt("%s: not written whole", EIO, pathOf(name).c_str());
    }
    if (fflush(file) != 0 || fsync(fileno(file)) < 0) {
      throw plat::SystemExceptionFmt("write(%s)", errno, pathOf(name).c_str());
    }
  });
  return name;
}

bool OutputFolder::has(const std::string& name) const {
  struct stat status;
  if (fstatat(folder.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) return true;
  if (errno == ENOENT) return false;
  throw plat::SystemExceptionFmt("stat(%s)", errno, pathOf(name).c_str());
}

void OutputFolder::removePart(const std::string& name) {
  unlinkat(folder.get(), name.c_str(), 0);
}

void OutputFolder::removeParts() {
  os::DirEnum entries(path.get());
  while (const char* entry = entries.next()) {
    const std::string name = entry;
    if (name.starts_with(prefix) && name.ends_with(partSuffix)) removePart(name);
  }
}

std::string OutputFolder::freePath(const std::string& stem, const char* extension) const {
  for (int i = 1; i <= maxNames; i++) {
    const std::string name = stem + (i == 1 ? "" : "_" + std::to_string(i)) + "." + extension;
    if (!has(name)) return pathOf(name);
  }
  throw plat::ExceptionFmt("too many documents named %s", stem.c_str());
}

std::string OutputFolder::freePathLike(const std::string& takenPath) const {
  const std::string name = plat::baseName(takenPath.c_str()).get();
  const size_t dot = name.rfind('.');
  return freePath(name.substr(0, dot), name.substr(dot + 1).c_str());
}

bool OutputFolder::publish(const std::string& part, const std::string& newPath) {
  const std::string oldPath = pathOf(part);
  const int error = renameWithoutReplacing(oldPath.c_str(), newPath.c_str());
  if (error == 0) return true;
  if (error != EEXIST) throw plat::SystemExceptionFmt("rename(%s)", error, newPath.c_str());
  // Linked by a process that was killed then, or by a file server that was asked twice.
  if (!areOneFile(oldPath.c_str(), newPath.c_str())) return false;
  plat::fileRemove(oldPath.c_str());
  return true;
}

void OutputFolder::sync() {
  // Some file systems have nothing to do for a folder.
  if (fsync(folder.get()) < 0 && errno != EINVAL) {
    throw plat::SystemExceptionFmt("fsync(%s)", errno, path.get());
  }
}

}  // namespace receiver
