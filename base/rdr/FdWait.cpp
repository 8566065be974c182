#include "base/rdr/FdWait.h"

#include <sys/select.h>

#include <algorithm>
#include <cerrno>

#include "base/plat/Exception.h"

namespace rdr {

bool FdWait::untilReadable() {
  return wait(false);
}

bool FdWait::untilWritable() {
  return wait(true);
}

bool FdWait::wait(bool forWriting) {
  if (fd >= FD_SETSIZE) throw plat::SystemException("select", EMFILE);
  if (!started && timeoutMs >= 0) deadline = plat::monotonicNow() + timeoutMs * plat::ticksPerMs;
  started = true;
  for (;;) {
    timeval limit{};
    if (timeoutMs >= 0) {
      // Upwards, so that the wait does not spin through the last millisecond.
      plat::Ticks left = std::max<plat::Ticks>(deadline - plat::monotonicNow(), 0);
      plat::Ticks leftMs = (left + plat::ticksPerMs - 1) / plat::ticksPerMs;
      limit.tv_sec = leftMs / 1000;
      limit.tv_usec = leftMs % 1000 * 1000;
    }
    fd_set set;
    FD_ZERO(&set);
    FD_SET(fd, &set);
    int ready = select(fd + 1, forWriting ? nullptr : &set, forWriting ? &set : nullptr, nullptr,
                       timeoutMs >= 0 ? &limit : nullptr);
    if (ready > 0) return true;
    if (ready == 0) return false;
    if (errno != EINTR) throw plat::SystemException("select", errno);
  }
}

}  // namespace rdr
