#include "base/io/unix/SelectManager.h"

#include <cerrno>

#include "base/io/FdHandler.h"
#include "base/plat/Exception.h"
#include "base/plat/LogSrc.h"

namespace io {

static constinit plat::LogSrc log("FdManager");
static const plat::LogSrc::Listed listed(log);

SelectManager::SelectManager() {
  FD_ZERO(&readSet);
  FD_ZERO(&writeSet);
}

bool SelectManager::waitOnce(int limitMs) {
  int timeoutMs = getTimers().getTimeout();
  if (timeoutMs < 0 || (limitMs >= 0 && limitMs < timeoutMs)) timeoutMs = limitMs;
  timeval timeout = {timeoutMs / 1000, timeoutMs % 1000 * 1000};
  fd_set readable = readSet, writable = writeSet;
  const int end = watchedEnd;
  const int ready = select(end, &readable, &writable, nullptr, timeoutMs < 0 ? nullptr : &timeout);
  if (ready < 0 && errno != EINTR) throw plat::SystemException("select", errno);
  for (int fd = 0, left = ready; left > 0 && fd < end; fd++) {
    if (FD_ISSET(fd, &readable)) {
      queueReadable(watched[fd]);
      left--;
    }
    if (FD_ISSET(fd, &writable)) {
      queueWritable(watched[fd]);
      left--;
    }
  }
  const bool isTimerDue = getTimers().getTimeout() == 0;
  processEvents();
  return isTimerDue || ready > 0;
}

void SelectManager::run() {
  stopped = false;
  while (!stopped) waitOnce();
}

bool SelectManager::interestChanged(FdHandler* handler, unsigned interest) {
  const int fd = handler->getFd();
  const bool wanted = interest & (interestRead | interestWrite);
  const bool canWatch = !(interest & interestOther);
  if (fd < 0 || fd >= FD_SETSIZE) {
    if (wanted) log.error("select() cannot watch descriptor %d", fd);
    return !wanted && canWatch;
  }
  // Another handler may watch the same descriptor.
  if (!wanted && watched[fd] != handler) return canWatch;
  watched[fd] = wanted ? handler : nullptr;
  FD_CLR(fd, &readSet);
  FD_CLR(fd, &writeSet);
  if (interest & interestRead) FD_SET(fd, &readSet);
  if (interest & interestWrite) FD_SET(fd, &writeSet);
  if (fd >= watchedEnd) watchedEnd = fd + 1;
  while (watchedEnd > 0 && !watched[watchedEnd - 1]) watchedEnd--;
  return canWatch;
}

}  // namespace io
