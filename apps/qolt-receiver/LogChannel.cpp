#include "apps/qolt-receiver/LogChannel.h"

#include <algorithm>

#include "base/os/unix/UnixIo.h"
#include "base/plat/LogSrc.h"
#include "base/plat/logipc/LogDestIpc.h"

namespace receiver {

static constinit plat::LogSrc log("LogChannel");
static const plat::LogSrc::Listed listed(log);

static constexpr int minRetryMs = 500;
static constexpr int maxRetryMs = 60000;
// A full queue of the listener must not hold up the thread.
static constexpr int connectTimeoutMs = 1;

LogChannel::LogChannel(const char* socketPath)
    : path(socketPath),
      ipc(nullptr, "LogServer", false, true),
      retryTimer(this),
      retryMs(minRetryMs) {
  // What the server says besides its level is skipped.
  ipc.registerReader(nullptr, this);
  plat::LogDestIpc::instance().setMsgIpc(&ipc);
  connect();
}

LogChannel::~LogChannel() {
  ipc.registerReader(nullptr, nullptr);
  try {
    plat::LogDestIpc::instance().flush();
  } catch (const plat::Exception&) {
    // Lost: the server is gone.
  }
  plat::LogDestIpc::instance().setMsgIpc(nullptr);
}

void LogChannel::connectionChanged(io::MsgIpc*) {
  if (ipc.isConnected()) return;
  log.info("the log server has gone");
  retryTimer.start(retryMs);
}

bool LogChannel::timerExpired(plat::Timer*) {
  connect();
  return false;
}

void LogChannel::connect() {
  try {
    ipc.acceptIo(new os::UnixIo(path.get(), -1, false, connectTimeoutMs));
    retryMs = minRetryMs;
    log.info("connected to the log server");
  } catch (const plat::Exception& problem) {
    log.debug("%s: %s", path.get(), problem.message);
    retryTimer.start(retryMs);
    retryMs = std::min(retryMs * 2, maxRetryMs);
  }
}

}  // namespace receiver
