#pragma once

#include <array>
#include <memory>

#include "base/io/FdHandler.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/unix/OwnedFd.h"
#include "base/rdr/FdInStream.h"

namespace io {

class FdKicker;
class FdManager;

class FdKickerCallback {
 public:
  // Reads the bytes kicked from the kicker's stream until that would block, or
  // drains it. Must not destroy the kicker.
  virtual void kicked(FdKicker* kicker) = 0;
  virtual ~FdKickerCallback() = default;
};

// A self-pipe by which other threads wake the thread that made it. All but kick()
// belongs to that thread, which must have a current io::FdManager.
class FdKicker : private FdHandler, private plat::NonCopyable {
 public:
  // The callback is borrowed. Throws plat::SystemException.
  explicit FdKicker(FdKickerCallback* callback);
  ~FdKicker() override;

  // From any thread. When the pipe is full the byte is dropped: a wake-up is
  // under way already. Throws plat::SystemException "write".
  void kick(unsigned char byte);
  rdr::FdInStream* in() const { return stream.get(); }
  // Discards all bytes that have arrived.
  void drain();

 private:
  FdKicker(FdKickerCallback* callback, std::array<int, 2> pipe);

  void fdReadable() override;
  void fdManagerGone() override;

  plat::OwnedFd readEnd;
  FdKickerCallback* callback;
  FdManager* fdMgr;  // null once it is gone
  plat::OwnedFd writeEnd;
  std::unique_ptr<rdr::FdInStream> stream;
};

}  // namespace io
