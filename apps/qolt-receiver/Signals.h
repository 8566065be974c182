#pragma once

#include <functional>

#include "base/io/FdHandler.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/unix/OwnedFd.h"

namespace receiver {

// SIGINT, SIGTERM and SIGCHLD as events of the thread's io::FdManager, which outlives this.
// From construction on the signals are held back, also in threads that start later: what
// has begun is never cut short.
class Signals : private io::FdHandler, private plat::NonCopyable {
 public:
  using Callback = std::function<void(int number)>;

  // Throws plat::SystemException "signalfd".
  explicit Signals(Callback newCallback);
  ~Signals() override;

 private:
  void fdReadable() override;

  plat::OwnedFd ownedFd;
  Callback callback;
};

}  // namespace receiver
