#pragma once

#include <cstdio>

#include "base/plat/FilePtr.h"
#include "base/rdr/BufferedNBOutStream.h"

namespace rdr {

// Writes a stdio file. Failures throw plat::StdlibException "writing to file
// failed", also while there is no file. Destruction delivers and closes but tells
// of no failure: a writer that must know calls close().
class FileOutStream : public BufferedNBOutStream {
 public:
  // "-" is standard output. A null path: no file. flags: plat::FileFlags.
  FileOutStream(const char* path, int flags);
  // An owned file has not been written to yet.
  FileOutStream(FILE* file, bool own);
  ~FileOutStream() override;

  // Both close() the former file first.
  void open(const char* path, int flags);
  void attach(FILE* newFile, bool own);
  // Delivers everything, flushes and closes. Throws what fails
  // (plat::StdlibException); there is no file afterwards in either case.
  void close();

 protected:
  int writeData(const uint8_t* buf, int len, bool needWrite) override;

 private:
  void writeThrough();

  plat::FilePtr file;
};

}  // namespace rdr
