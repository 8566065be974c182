#include "base/plat/FilePtr.h"

#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "base/plat/Assertion.h"
#include "base/plat/LogSrc.h"

namespace plat {

static constinit LogSrc log("FilePtr");
static const LogSrc::Listed listed(log);

FilePtr::FilePtr(FilePtr&& other) noexcept : own(other.own) {
  file = other.release();
}

FilePtr& FilePtr::operator=(FilePtr&& other) noexcept {
  FilePtr taken(std::move(other));
  std::swap(file, taken.file);
  std::swap(own, taken.own);
  return *this;
}

FilePtr::~FilePtr() {
  try {
    close();
  } catch (Exception& e) {
    log.error("%s", e.message);
  }
}

void FilePtr::open(const char* name, FileMode mode, int flags) {
  close();
  if (strcmp(name, "-") == 0) {
    if (mode == FileMode::readWrite) throw Exception("Invalid mode for stdin/stdout");
    file = mode == FileMode::read ? stdin : stdout;
    own = false;
    return;
  }

  struct How {
    int openFlags;
    const char* stdioMode;
  } how{O_RDONLY, "r"};
  if (mode == FileMode::write) {
    how = flags & openAppend ? How{O_WRONLY | O_CREAT | O_APPEND, "a"}
                             : How{O_WRONLY | O_CREAT | O_TRUNC, "w"};
  } else if (mode == FileMode::readWrite) {
    how = flags & openTruncate ? How{O_RDWR | O_CREAT | O_TRUNC, "w+"}
          : flags & openCreate ? How{O_RDWR | O_CREAT, "r+"}
                               : How{O_RDWR, "r+"};
  }

  int fd = ::open(name, how.openFlags | O_CLOEXEC, flags & openPrivate ? 0600 : 0664);
  if (fd >= 0) {
    file = fdopen(fd, how.stdioMode);
    own = true;
  }
  if (!file) {
    int err = errno;
    if (fd >= 0) ::close(fd);
    if (!(flags & openMayFail)) throw SystemExceptionFmt("Error opening \"%s\"", err, name);
  }
}

void FilePtr::close() {
  if (!file) return;
  bool owned = own;
  FILE* closing = release();
  if (owned) {
    if (fclose(closing) != 0) throw StdlibException("fclose");
  } else if (__fwriting(closing) && fflush(closing) != 0) {
    throw StdlibException("fflush");
  }
}

void FilePtr::flush() {
  if (file && fflush(file) != 0) throw StdlibException("fflush");
}

MBuf<unsigned char> FilePtr::readAll(int maximum) {
  PLAT_ASSERT(file);
  if (__fwriting(file)) flush();
  // Clears an old error too. What cannot seek is read from where it stands.
  rewind(file);
  struct stat info;
  if (fstat(fileno(file), &info) != 0) throw StdlibException("Reading from file failed");
  if (info.st_size > maximum) {
    throw ExceptionFmt("Error: file is too large (%lld > %d)", static_cast<long long>(info.st_size),
                       maximum);
  }

  MBuf<unsigned char> content(static_cast<int>(info.st_size));
  errno = 0;
  const size_t length = fread(content.data(), 1, content.size(), file);
  if (length == 0 || ferror(file)) throw StdlibException("Reading from file failed");
  content.resize(static_cast<int>(length));
  return content;
}

FILE* FilePtr::release() {
  FILE* released = file;
  file = nullptr;
  own = false;
  return released;
}

}  // namespace plat
