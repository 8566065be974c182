#include "base/io/Ipc.h"

#include <utility>

#include "base/io/Io.h"
#include "base/plat/Assertion.h"
#include "base/plat/LogSrc.h"
#include "base/rdr/Exceptions.h"
#include "base/rdr/InStream.h"

namespace io {

static constinit plat::LogSrc log("Ipc");
static const plat::LogSrc::Listed listed(log);

Ipc::Ipc(const char* newName, Callback* newCallback, bool isBlocking)
    : ipcName(newName), callback(newCallback), blockingUse(isBlocking) {}

Ipc::~Ipc() {
  if (io) detach()->shutdown(true, false);
}

void Ipc::setIo(Io* newIo) {
  PLAT_ASSERT(!io);
  io = newIo;
  IoHandler* handler = this;
  io->setHandler(blockingUse ? nullptr : handler, true);
  io->in()->setRewindable(!blockingUse);
  // A stream that was not rewindable has left its checkpoint behind.
  io->in()->checkpoint();
}

void Ipc::run() {
  try {
    callback->ipcReadable(this);
  } catch (const rdr::BlockException&) {
    // More data will come.
  } catch (const plat::Exception& e) {
    log.debug("%s: %s", getName(), e.message);
    callback->ipcError(this, e);
    close(false);
  }
}

void Ipc::releaseIo() {
  if (!io) return;
  Io* released = detach();
  released->setHandler(nullptr, false);
  released->in()->setRewindable(false);
  callback->ipcClosed(this);
}

void Ipc::close(bool flush) {
  if (!io) return;
  Io* closing = detach();
  try {
    // Without a handler the shutdown takes only what fits at once.
    if (flush && blockingUse) closing->out()->flush();
  } catch (const plat::Exception& e) {
    log.debug("%s: %s", getName(), e.message);
  }
  closing->shutdown(flush, false);
  callback->ipcClosed(this);
}

rdr::InStream* Ipc::in() const {
  return io ? io->in() : nullptr;
}

rdr::OutStream* Ipc::out() {
  return io ? io->out() : &nullOut;
}

void Ipc::ioShutdownComplete(Io*) {
  detach();
  callback->ipcClosed(this);
}

// The callback may take the next connection at once.
Io* Ipc::detach() {
  return std::exchange(io, nullptr);
}

}  // namespace io
