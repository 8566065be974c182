#include "apps/qolt-receiver/OutputFolder.h"

#include <fcntl.h>
#include <sys/sendfile.h>

#include <cerrno>
#include <utility>

#include "apps/common/newFile.h"
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

// The first of the names that `take` takes.
template <class Take>
std::string firstFreeName(const std::string& stem, const char* extension, Take take) {
  for (int i = 1; i <= maxNames; i++) {
    std::string name = stem + (i == 1 ? "" : "_" + std::to_string(i)) + "." + extension;
    if (take(name.c_str())) return name;
  }
  throw plat::ExceptionFmt("too many documents named %s", stem.c_str());
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

OutputFolder::OutputFolder(const char* folderPath)
    : path(absolute(folderPath)), folder(plat::fileOpenFd(path.get(), O_RDONLY | O_DIRECTORY)) {}

std::string OutputFolder::moveIn(const char* sourcePath, int sourceFd, const std::string& stem,
                                 const char* extension) {
  return pathOf(firstFreeName(
      stem, extension, [&](const char* name) { return tryMove(sourcePath, sourceFd, name); }));
}

std::string OutputFolder::create(const std::string& stem, const char* extension,
                                 const std::function<void(FILE*)>& write) {
  plat::OwnedFd fd(-1);
  std::string name = firstFreeName(stem, extension, [&](const char* candidate) {
    fd = plat::OwnedFd(tryCreate(candidate));
    return fd.get() >= 0;
  });
  writeNewFile(std::move(fd), folder.get(), name.c_str(), write);
  return pathOf(name);
}

std::string OutputFolder::pathOf(const std::string& name) const {
  return plat::join(path.get(), name.c_str()).get();
}

// False when the name is taken.
bool OutputFolder::tryMove(const char* sourcePath, int sourceFd, const char* name) {
  if (renameat2(AT_FDCWD, sourcePath, folder.get(), name, RENAME_NOREPLACE) == 0) return true;
  if (errno == EEXIST) return false;
  // Another file system, or one that cannot rename without replacing.
  if (errno != EXDEV && errno != EINVAL) {
    throw plat::SystemExceptionFmt("rename(%s)", errno, sourcePath);
  }
  if (!tryCopy(sourceFd, name)) return false;
  plat::fileRemove(sourcePath);
  return true;
}

// -1 when the name is taken.
int OutputFolder::tryCreate(const char* name) {
  int fd = openat(folder.get(), name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (fd < 0 && errno != EEXIST) throw plat::SystemExceptionFmt("open(%s)", errno, name);
  return fd;
}

bool OutputFolder::tryCopy(int sourceFd, const char* name) {
  plat::OwnedFd fd(tryCreate(name));
  if (fd.get() < 0) return false;
  writeNewFile(std::move(fd), folder.get(), name, [&](FILE* copy) {
    off_t offset = 0;
    ssize_t n;
    do {
      n = sendfile(fileno(copy), sourceFd, &offset, 1 << 20);
    } while (n > 0);
    if (n < 0) throw plat::SystemExceptionFmt("copy(%s)", errno, name);
  });
  return true;
}

}  // namespace receiver
