#include "base/rdr/FdOutStream.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "base/plat/Assertion.h"
#include "base/plat/Exception.h"
#include "base/plat/LogSrc.h"
#include "base/rdr/FdWait.h"

namespace rdr {

static constinit plat::LogSrc log("FdOutStream");
static const plat::LogSrc::Listed listed(log);

FdOutStream::FdOutStream(int descriptor, int maxSize)
    : BufferedLazyOutStream(-1, maxSize), fd(descriptor) {}

FdOutStream::~FdOutStream() {
  try {
    flushBuffer(false);
  } catch (const plat::Exception&) {
  }
  if (closeOnDestroy && fd >= 0) close(fd);
}

bool FdOutStream::shutdown() {
  if (pendingBytes() == 0 && ::shutdown(fd, SHUT_WR) < 0) {
    throw plat::SystemException("shutdown(SHUT_WR)", errno);
  }
  if (callback) callback->shutdownRequested(this);
  return true;
}

int FdOutStream::writeData(const uint8_t* buf, int len, bool needWrite) {
  FdWait wait(fd, writeTimeoutMs);
  for (;;) {
    ssize_t count = write(fd, buf, static_cast<size_t>(len));
    if (count >= 0) {
      if (callback) callback->writeAttempted(this, count == 0);
      return static_cast<int>(count);
    }
    if (errno == EINTR) continue;
    if (errno != EAGAIN) {
      plat::SystemException failure("write", errno);
      if (doesThrowErrors()) throw failure;
      log.log(plat::logDebug, "%s", failure.message);
      PLAT_ASSERT_THROW(!needWrite);
      return 0;
    }
    if (!needWrite) {
      if (callback) callback->writeAttempted(this, true);
      return 0;
    }
    if (!wait.untilWritable()) {
      PLAT_ASSERT_THROW(doesThrowErrors());
      throw plat::TimedOut("Timed out");
    }
  }
}

}  // namespace rdr
