#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <thread>
#include <utility>

namespace test {

// A regular file of these bytes, to be read from its start. The caller closes it.
inline int memoryFile(const std::string& bytes) {
  int fd = memfd_create("test", MFD_CLOEXEC);
  if (write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()) ||
      lseek(fd, 0, SEEK_SET) != 0) {
    abort();
  }
  return fd;
}

// A pipe whose writer sends the bytes, at most `chunk` at a time, and closes it.
class FedPipe {
 public:
  explicit FedPipe(std::string bytes, size_t chunk = SIZE_MAX) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) < 0) abort();
    readEnd = ends[0];
    writer = std::thread([bytes = std::move(bytes), chunk, out = ends[1]] {
      for (size_t at = 0; at < bytes.size();) {
        ssize_t count = write(out, bytes.data() + at, std::min(chunk, bytes.size() - at));
        if (count < 0) break;
        at += static_cast<size_t>(count);
      }
      close(out);
    });
  }
  ~FedPipe() {
    close(readEnd);
    writer.join();
  }

  int fd() const { return readEnd; }

 private:
  int readEnd;
  std::thread writer;
};

}  // namespace test
