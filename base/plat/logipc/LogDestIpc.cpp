#include "base/plat/logipc/LogDestIpc.h"

#include <mutex>

#include "base/plat/Assertion.h"
#include "base/plat/DString.h"
#include "base/plat/LogSrc.h"
#include "base/plat/logLock.h"

namespace plat {

namespace {

constexpr size_t maxEntries = 1000;
constexpr int maxTextBytes = 1024;
constexpr char setLogLevelMsg[] = "setLogLevel";
constexpr char logMsg[] = "logMsg";

struct Registration {
  Registration() {
    LogDestIpc::instance();
    setAssertionHook([] { LogDestIpc::instance().flush(); });
  }
} registration;

void send(io::MsgIpc& channel, const LogEntry& entry, const String& prefix) {
  DString source;
  if (!prefix.isNull()) source.appendFormat("%s: ", prefix.get());
  source.append(entry.source.orEmpty());
  rdr::OutStreamV4& out = channel.writeMsg(logMsg);
  out.writeS32(entry.level);
  out.writeString(source.orEmpty());
  out.writeString(entry.text.orEmpty(), maxTextBytes);
  out.endMsg(false);
}

}  // namespace

LogDestIpc::LogDestIpc() : LogDest("ipc") {}

LogDestIpc& LogDestIpc::instance() {
  static LogDestIpc& ipc = *new LogDestIpc;
  return ipc;
}

void LogDestIpc::write(int messageLevel, const char* source, const char* text) {
  std::lock_guard<RecursiveMutex> lock(mutex);
  if (messageLevel > level) return;
  addLogEntry(entries, maxEntries, "LogDestIpc", messageLevel, source, text);
  if (connected) kicker->kick();
}

void LogDestIpc::setPrefix(const char* newPrefix) {
  std::lock_guard<RecursiveMutex> lock(mutex);
  prefix.set(newPrefix);
}

void LogDestIpc::setMsgIpc(io::MsgIpc* ipc) {
  // Making a kicker may log, which takes this mutex first.
  std::lock_guard<RecursiveMutex> listLock(logLock());
  std::lock_guard<RecursiveMutex> lock(mutex);
  std::unique_ptr<Kicker> newKicker(ipc ? new Kicker(this) : nullptr);
  if (msgIpc) msgIpc->registerReader(setLogLevelMsg, nullptr);
  msgIpc = ipc;
  connected = false;
  if (msgIpc) msgIpc->registerReader(setLogLevelMsg, this);
  kicker = std::move(newKicker);
}

void LogDestIpc::flush() {
  std::vector<LogEntry> taken;
  io::MsgIpc* channel;
  String sourcePrefix;
  {
    std::lock_guard<RecursiveMutex> lock(mutex);
    if (!connected) return;
    taken.swap(entries);
    channel = msgIpc;
    sourcePrefix = prefix;
  }
  try {
    for (const LogEntry& entry : taken) send(*channel, entry, sourcePrefix);
    channel->out()->flush();
  } catch (const io::MsgNotAllowed&) {
    throw;
  } catch (const plat::Exception&) {
    // It may have stopped in the middle of a message, behind which none would be
    // understood.
    channel->close(false);
    throw;
  }
}

void LogDestIpc::kicked(Kicker*) {
  try {
    flush();
  } catch (const Exception&) {
    // Logging that would only kick again. What a filter refuses waits for the next
    // "setLogLevel".
    setConnected(false);
  }
}

bool LogDestIpc::readMsg(const char*, rdr::InStream& in, io::MsgIpc*) {
  level = in.readS32();
  setConnected(true);
  LogSrc::updateAllLevels();
  flush();
  return true;
}

void LogDestIpc::connectionChanged(io::MsgIpc*) {
  setConnected(false);
}

void LogDestIpc::setConnected(bool newConnected) {
  std::lock_guard<RecursiveMutex> lock(mutex);
  connected = newConnected;
}

}  // namespace plat
