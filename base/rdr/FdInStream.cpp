#include "base/rdr/FdInStream.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

#include "base/plat/Exception.h"
#include "base/rdr/Exceptions.h"
#include "base/rdr/FdWait.h"

namespace rdr {

FdInStream::FdInStream(int descriptor, int bufSize)
    : BufferedNonBlockableInStream(bufSize), fd(descriptor) {}

FdInStream::FdInStream(FdInStream&& other) noexcept
    : BufferedNonBlockableInStream(std::move(other)),
      fd(std::exchange(other.fd, -1)),
      closeOnDestroy(other.closeOnDestroy),
      timedOut(other.timedOut) {}

FdInStream::~FdInStream() {
  if (closeOnDestroy && fd >= 0) close(fd);
}

int FdInStream::readData(uint8_t* buf, int len) {
  if (timedOut) throw plat::TimedOut("Timed out");
  FdWait wait(fd, timeoutMs);
  for (;;) {
    ssize_t count = read(fd, buf, static_cast<size_t>(len));
    if (count > 0) return static_cast<int>(count);
    if (count == 0) throw EndOfStream("End of IO stream");
    if (errno == EINTR) continue;
    if (errno != EAGAIN) throw plat::SystemException("read", errno);
    if (nonBlocking) return 0;
    if (!wait.untilReadable()) throw plat::TimedOut("Timed out");
  }
}

}  // namespace rdr
