#include "base/io/FdIo.h"

#include <sys/socket.h>

#include <cerrno>
#include <climits>
#include <cstdio>

#include "base/io/FdManager.h"
#include "base/io/IoHandler.h"
#include "base/os/SocketUtil.h"
#include "base/plat/Assertion.h"
#include "base/plat/ConfigParameter.h"
#include "base/plat/LogSrc.h"
#include "base/plat/unix/OwnedFd.h"
#include "base/rdr/Exceptions.h"

namespace io {

static constinit plat::LogSrc log("FdIo");
static const plat::LogSrc::Listed listed(log);

static plat::IntParameter lazyFlushTimeout(
    "LazyFlushTimeout",
    "Maximum number of seconds for which attempts should be made to flush data to an unresponsive "
    "client (maximum 49 days)",
    60, true, nullptr, 0, INT_MAX);

static int lazyFlushTimeoutMs() {
  return lazyFlushTimeout > INT_MAX / 1000 ? INT_MAX : lazyFlushTimeout * 1000;
}

static const char* boolText(bool value) {
  return value ? "true" : "false";
}

FdIo::FdIo(int newFd, bool ownsFd, bool isConnecting, int inBufSize, int outMaxBufSize,
           bool setNonBlocking)
    : FdHandler(-1), connecting(isConnecting) {
  os::prepareProcess();
  if (newFd >= 0) attach(newFd, ownsFd, inBufSize, outMaxBufSize, setNonBlocking);
}

FdIo::~FdIo() {
  setHandler(nullptr, true);
  // A shutdown that does not tell has forgotten the handler but not the manager.
  leaveManager();
  inStream.reset();
  outStream.reset();
  flushTimer.stop();
  shutdownTimer.stop();
  if (closeOnDestroy && fd >= 0) os::closeFd(fd);
}

void FdIo::attach(int newFd, bool ownsFd, int inBufSize, int outMaxBufSize, bool setNonBlocking) {
  PLAT_ASSERT(fd < 0);
  plat::OwnedFd guard(ownsFd ? newFd : -1);
  auto newIn = std::make_unique<rdr::FdInStream>(newFd, inBufSize);
  auto newOut = std::make_unique<rdr::FdOutStream>(newFd, outMaxBufSize);
  newOut->setCallback(this);
  if (setNonBlocking) os::setBlocking(newFd, false);
  inStream = std::move(newIn);
  outStream = std::move(newOut);
  fd = newFd;
  closeOnDestroy = ownsFd;
  guard.release();
}

int FdIo::getSocketError() {
  if (socketError < 0) {
    int error = 0;
    socklen_t length = sizeof(error);
    if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) < 0) {
      throw plat::SystemException("getsockopt", errno);
    }
    socketError = error;
  }
  return socketError;
}

void FdIo::setHandler(IoHandler* newHandler, bool checkReadable) {
  if (!handler && !newHandler) return;
  try {
    handler = newHandler;
    if (handler && !fdMgr) {
      fdMgr = FdManager::current();
      PLAT_ASSERT(fdMgr);
    }
    if (handler) {
      fdMgr->addHandler(this);
    } else if (fdMgr) {
      fdMgr->removeHandler(this);
    }
    if (state != State::shuttingDown) {
      setInterest(handler ? interestRead | (connecting ? interestWrite : 0) : 0);
    }
    if (!handler) {
      flushTimer.stop();
      fdMgr = nullptr;
    } else if (checkReadable) {
      if (in()->nUnread() > 0 || fdIn()->isTimedOut()) fdMgr->queueReadable(this);
      if (!connecting) fdMgr->queueWritable(this);
      fdMgr->dispatchSoon();
    }
    fdIn()->setNonBlocking(handler);
    fdOut()->setLazy(handler);
  } catch (const plat::Exception& e) {
    log.error("setHandler: %s", e.message);
  }
}

void FdIo::shutdown(bool flush, bool tellHandler) {
  log.debug("shutdown %p (fd=%d), flush %s (tellHandler %s)", static_cast<void*>(this), fd,
            boolText(flush), boolText(tellHandler));
  if (!fdMgr) {
    PLAT_ASSERT(!tellHandler);
    log.debug("immediate shutdown %p (fd=%d)", static_cast<void*>(this), fd);
    delete this;
    return;
  }
  state = State::shuttingDown;
  setInterest(0);
  if (!tellHandler) handler = nullptr;
  if (flush) {
    fdMgr->queueWritable(this);
    fdMgr->dispatchSoon();
  } else {
    shutdownTimer.start(0);
  }
}

void FdIo::markReadable() {
  PLAT_ASSERT(fdMgr);
  if (state != State::shuttingDown) fdMgr->queueReadable(this);
  fdMgr->dispatchSoon();
}

const char* FdIo::name() {
  if (name_.isNull()) {
    char text[24];
    snprintf(text, sizeof(text), "<fd%d>", fd);
    name_.set(text);
  }
  return name_.get();
}

void FdIo::setTimeout(int ms) {
  fdIn()->setTimeout(ms);
  fdOut()->setWriteTimeout(ms);
}

bool FdIo::timerExpired(plat::Timer* timer) {
  if (timer == &flushTimer) {
    flushTimedOut();
  } else {
    log.debug("shutdown complete %p (fd=%d)", static_cast<void*>(this), fd);
    finishShutdown();
  }
  return false;
}

void FdIo::flushTimedOut() {
  log.debug("flush timer");
  if (state == State::shuttingDown) {
    shutdownTimer.start(0);
    return;
  }
  PLAT_ASSERT(handler);
  fdIn()->setTimedOut();
  if (interest & interestRead) {
    fdMgr->queueReadable(this);
    fdMgr->dispatchSoon();
  }
}

void FdIo::finishShutdown() {
  try {
    if (handler) handler->ioShutdownComplete(this);
  } catch (const plat::Exception& e) {
    log.info("Shutdown error: %s", e.message);
  }
  leaveManager();
  handler = nullptr;
  delete this;
}

void FdIo::leaveManager() {
  if (fdMgr) fdMgr->removeHandler(this);
  fdMgr = nullptr;
}

void FdIo::setInterest(unsigned newInterest) {
  interest = newInterest;
  if (fdMgr) fdMgr->setInterest(this, interest);
}

void FdIo::writeAttempted(rdr::FdOutStream*, bool wouldBlock) {
  if (wouldBlock) {
    setInterest(interest | interestWrite);
    if (fdMgr) flushTimer.start(lazyFlushTimeoutMs());
    return;
  }
  flushTimer.stop();
  if (!fdMgr) return;
  // The descriptor may be full now, so a queued event is stale; but the event of
  // a pending shutdown is what completes it.
  if (state == State::open) {
    fdMgr->dropWritable(this, false);
  } else {
    fdMgr->queueWritable(this);
  }
  fdMgr->dispatchSoon();
}

void FdIo::shutdownRequested(rdr::FdOutStream* stream) {
  if (state == State::open) state = State::shutdownRequested;
  // Bytes that were never tried have no writable event under way.
  if (fdMgr && !connecting && stream->pendingBytes() != 0) {
    fdMgr->queueWritable(this);
    fdMgr->dispatchSoon();
  }
}

void FdIo::fdReadable() {
  PLAT_ASSERT(handler);
  try {
    handler->ioReadable(this);
  } catch (const rdr::BlockException&) {
    // The message is not complete yet; its stream has rewound.
  } catch (const plat::Exception& e) {
    log.info("Read error: %s", e.message);
    shutdown(false, true);
  }
}

void FdIo::fdWritable() {
  try {
    connecting = false;
    setInterest(interest & ~interestWrite);
    if (fdOut()->pendingBytes() != 0) {
      fdOut()->flush();
      // A pending shutdown goes on when everything is delivered: no further event
      // would come.
      if (state == State::open || fdOut()->pendingBytes() != 0) return;
    }
    switch (state) {
      case State::shuttingDown:
        shutdownTimer.start(0);
        break;
      case State::shutdownRequested:
        fdOut()->shutdown();
        fdMgr->dropWritable(this, true);
        break;
      case State::open:
        PLAT_ASSERT(handler);
        handler->ioWritable(this);
    }
  } catch (const plat::Exception& e) {
    log.info("Write error: %s", e.message);
    shutdown(false, true);
  }
}

void FdIo::fdManagerGone() {
  if (state == State::shuttingDown) {
    log.debug("shutdown completed by FdManager dtor %p (fd=%d)", static_cast<void*>(this), fd);
    finishShutdown();
  } else {
    fdMgr = nullptr;
  }
}

}  // namespace io
