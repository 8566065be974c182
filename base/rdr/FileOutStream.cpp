#include "base/rdr/FileOutStream.h"

#include <cerrno>
#include <utility>

#include "base/plat/Exception.h"

namespace rdr {

FileOutStream::FileOutStream(const char* path, int flags) {
  if (path) open(path, flags);
}

FileOutStream::FileOutStream(FILE* openFile, bool own) {
  attach(openFile, own);
}

FileOutStream::~FileOutStream() {
  try {
    flushBuffer(blocking);
  } catch (const plat::Exception&) {
  }
}

void FileOutStream::open(const char* path, int flags) {
  close();
  file.open(path, plat::FileMode::write, flags);
  if (file.get() != stdout) writeThrough();
}

void FileOutStream::attach(FILE* newFile, bool own) {
  plat::FilePtr next(newFile, own);
  close();
  file = std::move(next);
  if (own) writeThrough();
}

void FileOutStream::close() {
  if (!file.get()) return;
  try {
    flushBuffer(true);
  } catch (const plat::Exception&) {
    // Left in the buffer, the bytes would go to the next file.
    emptyBuffer();
    file = plat::FilePtr();
    throw;
  }
  file.close();
}

// This stream gathers whole blocks itself: stdio would only copy them once more and
// hide a failing write until the file is closed.
void FileOutStream::writeThrough() {
  if (file.get()) setvbuf(file.get(), nullptr, _IONBF, 0);
}

int FileOutStream::writeData(const uint8_t* buf, int len, bool) {
  if (!file.get()) errno = EBADF;
  if (!file.get() || fwrite(buf, static_cast<size_t>(len), 1, file.get()) != 1) {
    throw plat::StdlibException("writing to file failed");
  }
  return len;
}

}  // namespace rdr
