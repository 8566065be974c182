#include "apps/qolt-receiver/Connection.h"

#include "apps/qolt-receiver/message.h"
#include "base/io/FdIo.h"
#include "base/plat/LogSrc.h"
#include "base/rdr/Exceptions.h"

namespace receiver {

static constinit plat::LogSrc log("Connection");
static const plat::LogSrc::Listed listed(log);

static constexpr int bufferSize = 512;  // bytes; a message is half of that

Connection::Connection(int fd, int newTimeoutS, Owner* newOwner)
    : io(new io::FdIo(fd, true, false, bufferSize, bufferSize, true)),
      owner(newOwner),
      timeoutS(newTimeoutS),
      timer(this) {
  io->setHandler(this, false);
  timer.start(timeoutS * 1000);
}

Connection::~Connection() {
  if (io) io->shutdown(false, false);
}

void Connection::readNow() {
  try {
    if (timer.isRunning()) ioReadable(io);
  } catch (const rdr::BlockException&) {
  }
}

void Connection::ioReadable(io::Io*) {
  rdr::InStream& in = *io->in();
  try {
    owner->jobAnnounced(readMessage(in));
  } catch (const rdr::BlockException&) {
    throw;
  } catch (const rdr::EndOfStream&) {
    // A peer that sends nothing only looks whether somebody listens.
    if (in.pos() + in.nUnread() != 0) log.error("bad message: cut off");
  } catch (const plat::Exception& problem) {
    log.error("%s", problem.message);
  }
  timer.stop();
  io->shutdown(false, true);
}

void Connection::ioShutdownComplete(io::Io*) {
  io = nullptr;
  owner->connectionEnded(this);
}

bool Connection::timerExpired(plat::Timer*) {
  log.error("bad message: not complete after %d s", timeoutS);
  io->shutdown(false, true);
  return false;
}

}  // namespace receiver
