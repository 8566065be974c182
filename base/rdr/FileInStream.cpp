#include "base/rdr/FileInStream.h"

#include <cerrno>

#include "base/rdr/Exceptions.h"

namespace rdr {

FileInStream::FileInStream(const char* path, int flags) {
  rewindable = false;
  if (path) open(path, flags);
}

FileInStream::FileInStream(FILE* openFile, bool own) : file(openFile, own) {
  rewindable = false;
}

void FileInStream::open(const char* path, int flags) {
  file.open(path, plat::FileMode::read, flags);
}

void FileInStream::attach(FILE* newFile, bool own) {
  file = plat::FilePtr(newFile, own);
}

int FileInStream::readData(uint8_t* buf, int len) {
  if (!file.get()) {
    errno = EBADF;
    throw plat::StdlibException("reading from file failed");
  }
  size_t count = fread(buf, 1, static_cast<size_t>(len), file.get());
  if (count > 0) return static_cast<int>(count);
  if (feof(file.get())) throw EndOfStream("End of file");
  throw plat::StdlibException("reading from file failed");
}

}  // namespace rdr
