#pragma once

#include <sys/types.h>

#include "base/plat/String.h"
#include "base/plat/unix/OwnedFd.h"

namespace receiver {

// The listening socket of the own account, where the backend looks for a server of
// that name. Construction makes the account's private directory and replaces a dead
// socket; it throws plat::Exception when a server is alive there, or something else
// stands in the way. Destruction removes the socket, if it is still this one.
class Endpoint : private plat::NonCopyable {
 public:
  explicit Endpoint(const char* name);
  ~Endpoint();

  const char* path() const { return path_.get(); }
  int getFd() const { return fd.get(); }  // non-blocking
  // Whether the socket is still where the backend looks for it.
  bool isThere() const;

 private:
  plat::String path_;
  plat::OwnedFd fd;
  ino_t inode;  // of the socket's name
};

}  // namespace receiver
