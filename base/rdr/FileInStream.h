#pragma once

#include <cstdio>

#include "base/plat/FilePtr.h"
#include "base/rdr/BufferedInStream.h"

namespace rdr {

// Reads a stdio file; not rewindable. Reading without a file throws
// plat::StdlibException. Throws EndOfStream "End of file".
class FileInStream : public BufferedInStream {
 public:
  // "-" is standard input. A null path: no file. flags: plat::FileFlags.
  FileInStream(const char* path, int flags);
  FileInStream(FILE* file, bool own);

  // Replace the file; bytes of the former one that are buffered are read first.
  void open(const char* path, int flags);
  void attach(FILE* newFile, bool own);

 protected:
  int readData(uint8_t* buf, int len) override;

 private:
  plat::FilePtr file;
};

}  // namespace rdr
