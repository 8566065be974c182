#include "base/io/unix/FdKicker.h"

#include <unistd.h>

#include <cerrno>

#include "base/io/FdManager.h"
#include "base/os/SocketUtil.h"
#include "base/plat/Assertion.h"
#include "base/rdr/Exceptions.h"

namespace io {

static std::array<int, 2> makePipe() {
  std::array<int, 2> pipe;
  os::createPipe(pipe.data());
  return pipe;
}

FdKicker::FdKicker(FdKickerCallback* kickee) : FdKicker(kickee, makePipe()) {}

FdKicker::FdKicker(FdKickerCallback* kickee, std::array<int, 2> pipe)
    : FdHandler(pipe[0]),
      readEnd(pipe[0]),
      callback(kickee),
      fdMgr(FdManager::current()),
      writeEnd(pipe[1]) {
  PLAT_ASSERT(fdMgr);
  os::setBlocking(readEnd.get(), false);
  os::setBlocking(writeEnd.get(), false);
  stream = std::make_unique<rdr::FdInStream>(readEnd.get());
  stream->setNonBlocking(true);
  fdMgr->addHandler(this);
  fdMgr->setInterest(this, interestRead);
}

FdKicker::~FdKicker() {
  if (fdMgr) fdMgr->removeHandler(this);
}

void FdKicker::kick(unsigned char byte) {
  while (write(writeEnd.get(), &byte, 1) < 0) {
    if (errno == EAGAIN) return;
    if (errno != EINTR) throw plat::SystemException("write", errno);
  }
}

void FdKicker::drain() {
  int count = 4096;
  while (stream->getItems(1, &count, false)) {
    stream->checkpoint();
    count = 4096;
  }
}

void FdKicker::fdReadable() {
  try {
    callback->kicked(this);
  } catch (const rdr::BlockException&) {
    // All that was kicked has been read.
  }
  stream->checkpoint();
}

void FdKicker::fdManagerGone() {
  fdMgr = nullptr;
}

}  // namespace io
