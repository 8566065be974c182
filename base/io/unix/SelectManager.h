#pragma once

#include <sys/select.h>

#include <array>

#include "base/io/FdManager.h"

namespace io {

// A waiting loop over select(): watches descriptors below FD_SETSIZE, one handler each.
// What happens to a descriptor besides, such as a hang-up, makes it readable or writable,
// and the handler's attempt to read or write finds out.
class SelectManager : public FdManager {
 public:
  SelectManager();

  // Waits until a descriptor is ready or a timer due, but at most limitMs (-1: without a
  // limit), and processes the events. False: there were none. Throws plat::SystemException
  // "select", and what callbacks throw.
  bool waitOnce(int limitMs = -1);
  // waitOnce() until stop(), which belongs to this thread.
  void run();
  void stop() { stopped = true; }

  bool isWatching() const { return watchedEnd > 0; }  // any descriptor

 private:
  bool interestChanged(FdHandler* handler, unsigned interest) override;

  std::array<FdHandler*, FD_SETSIZE> watched{};  // by descriptor
  fd_set readSet, writeSet;                      // what to wait for
  int watchedEnd = 0;                            // behind the highest watched descriptor
  bool stopped = false;
};

}  // namespace io
