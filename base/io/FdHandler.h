#pragma once

namespace io {

// What an io::FdManager watches and calls. Must be removed from its manager before
// it is destroyed.
class FdHandler {
 public:
  virtual ~FdHandler() = default;
  virtual void fdReadable() = 0;
  virtual void fdWritable() {}
  virtual void fdError(int /*error*/) {}
  virtual void fdOther() {}
  // The manager is being destroyed and has already forgotten this handler.
  virtual void fdManagerGone() {}

  int getFd() const { return fd; }

 protected:
  explicit FdHandler(int descriptor) : fd(descriptor) {}

  int fd;  // -1: none
};

}  // namespace io
