#pragma once

#include <cstdio>

#include "base/plat/MBuf.h"
#include "base/plat/NonCopyable.h"

namespace plat {

enum class FileMode { read, write, readWrite };

// Bits of FilePtr::open and of the file streams.
enum FileFlags {
  openAppend = 1,    // write: at the end of what is there, instead of in its place
  openCreate = 2,    // readWrite: a missing file is made
  openTruncate = 4,  // readWrite: an empty file in any case
  openPrivate = 16,  // a new file gets 0600 instead of 0664, before the umask
  openMayFail = 32,  // a failed open leaves the handle empty instead of throwing
};

// Owns a stdio file; the standard streams are not closed.
class FilePtr : private NonCopyable {
 public:
  FilePtr() = default;
  FilePtr(FILE* opened, bool owned) : file(opened), own(owned) {}
  FilePtr(FilePtr&& other) noexcept;
  FilePtr& operator=(FilePtr&& other) noexcept;
  ~FilePtr();  // a failing close is logged

  // Closes what is open and opens the name, not inherited by other programs. "-"
  // is standard input or output and throws plat::Exception for readWrite. Throws
  // plat::SystemExceptionFmt "Error opening \"%s\"".
  void open(const char* name, FileMode mode, int flags = 0);
  // Both throw plat::StdlibException ("fclose", "fflush"). close() leaves this
  // empty in every case, and only flushes a file that is not owned. An empty
  // handle does nothing.
  void close();
  void flush();
  // The file from its start. Throws plat::Exception when it is longer than maximum
  // bytes, plat::StdlibException when reading failed or it is empty. Precondition:
  // not an empty handle.
  MBuf<unsigned char> readAll(int maximum);
  FILE* get() const { return file; }
  FILE* release();

 private:
  FILE* file = nullptr;
  bool own = false;
};

}  // namespace plat
