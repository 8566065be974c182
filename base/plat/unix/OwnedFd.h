#pragma once

#include <unistd.h>

#include <utility>

#include "base/plat/NonCopyable.h"

namespace plat {

// Closes its descriptor; below 0 it has none.
class OwnedFd : private plat::NonCopyable {
 public:
  explicit OwnedFd(int descriptor) : fd(descriptor) {}
  OwnedFd(OwnedFd&& other) noexcept : fd(other.release()) {}
  OwnedFd& operator=(OwnedFd&& other) noexcept {
    std::swap(fd, other.fd);
    return *this;
  }
  ~OwnedFd() {
    if (fd >= 0) close(fd);
  }

  int get() const { return fd; }
  int release() { return std::exchange(fd, -1); }

 private:
  int fd;
};

}  // namespace plat
