#include "base/io/MsgIpc.h"

#include "base/io/Io.h"
#include "base/plat/LogSrc.h"
#include "base/rdr/Exceptions.h"

namespace io {

static constinit plat::LogSrc log("MsgIpc");
static const plat::LogSrc::Listed listed(log);
static constexpr char badMsg[] = "badMsg";

MsgIpc::MsgIpc(Filter* newFilter, const char* newName, bool isBlocking, bool discard)
    : Ipc(newName, this, isBlocking),
      filter(newFilter),
      input(nullptr),
      output(out()),
      machine(this, &input, &MsgIpc::startMsg),
      currentReader(readers.end()),
      discardWhenDisconnected(discard) {}

void MsgIpc::registerReader(const char* name, Reader* reader) {
  auto at = readers.find(name);
  if (reader) {
    readers.insert_or_assign(plat::String(name), reader);
  } else if (at != readers.end()) {
    if (at == currentReader) currentReader = readers.end();
    readers.erase(at);
  }
}

rdr::OutStreamV4& MsgIpc::writeMsg(const char* name) {
  if (filter && !filter->isAllowed(this, name, true)) {
    log.info("%s: Message '%s' not currently allowed", getName(), name);
    throw MsgNotAllowed("MsgIpc::writeMsg: Message not currently allowed");
  }
  return startNamed(name);
}

rdr::OutStreamV4& MsgIpc::startNamed(const char* name) {
  if (discardWhenDisconnected && !isConnected()) {
    log.debug("%s: Discarding message '%s'", getName(), name);
  }
  output.startMsg();
  output.writeStringU8(name);
  return output;
}

void MsgIpc::readMessage(const char* expected) {
  if (!machine.isIn(&MsgIpc::startMsg)) {
    throw plat::Exception("MsgIpc::readMessage: not in state startMsg");
  }
  if (!isConnected()) throw plat::Exception("MsgIpc::readMessage: not connected");
  struct ExpectedName {
    ExpectedName(plat::String& name_, const char* expected_) : name(name_) { name.set(expected_); }
    ~ExpectedName() { name.set(nullptr); }
    plat::String& name;
  } scope(expectedName, expected);
  bool progress = false;
  try {
    do {
      progress = machine.step();
    } while (progress && !machine.isIn(&MsgIpc::startMsg));
  } catch (const plat::Exception&) {
    skipBadMessage();
    throw;
  }
  if (!progress) throw rdr::BlockException();
}

void MsgIpc::readUntil(const char* name) {
  do {
    readMessage(nullptr);
  } while (receivedName != name);
}

void MsgIpc::drain() {
  try {
    while (isConnected()) readMessage(nullptr);
  } catch (const rdr::EndOfStream&) {
  }
}

void MsgIpc::acceptIo(Io* newIo) {
  Ipc::acceptIo(newIo);
  connectionChanged();
}

void MsgIpc::run() {
  while (isConnected() && machine.step()) {
    if (takeTurns && !isBlocking() && isConnected() && machine.isIn(&MsgIpc::startMsg)) {
      getIo()->markReadable();
      return;
    }
  }
}

void MsgIpc::notifyFilter(const plat::Exception& e) {
  if (filter) filter->ipcFailed(this, e);
}

void MsgIpc::connectionChanged() {
  input.setUnderlying(in());
  if (isConnected()) input.setRewindable(in()->isRewindable());
  output.setUnderlying(out());
  machine.go(&MsgIpc::startMsg);
  for (auto at = readers.begin(); at != readers.end();) {
    const plat::String name(at->first);
    at->second->connectionChanged(this);
    // The reader may have changed the map.
    at = readers.upper_bound(name);
  }
}

bool MsgIpc::startMsg() {
  if (!input.startMsg(false)) return false;
  machine.go(&MsgIpc::readName);
  return true;
}

bool MsgIpc::readName() {
  receivedName = input.readStringU8();
  if (!expectedName.isNull() && receivedName != expectedName && receivedName != badMsg) {
    throw plat::ExceptionFmt("MsgIpc: expected message %s, got %s", expectedName.get(),
                             receivedName.get());
  }
  currentReader = readers.find(receivedName);
  if (currentReader == readers.end()) currentReader = readers.find(plat::String());
  if (currentReader != readers.end()) {
    machine.go(&MsgIpc::readBody);
  } else {
    unknownName();
  }
  return true;
}

void MsgIpc::unknownName() {
  const char* name = receivedName.get();
  if (receivedName == badMsg) {
    const plat::String reported = input.readStringU8();
    log.info("%s: Peer reports bad msg name '%s'", getName(), reported.get());
    throw plat::ExceptionFmt("MsgIpc: expected message %s, peer reports bad msg name '%s'",
                             expectedName.isNull() ? "<null>" : expectedName.get(), reported.get());
  }
  machine.go(&MsgIpc::finishMsg);
  if (answerBadNames) {
    rdr::OutStreamV4& answer = startNamed(badMsg);
    answer.writeStringU8(name);
    answer.endMsg(true);
    return;
  }
  log.info("%s: Bad msg name '%s'", getName(), name);
  if (dropOnNonLetterName && static_cast<unsigned char>(*name) < 'A') close(false);
}

bool MsgIpc::readBody() {
  const char* name = receivedName.get();
  const bool allowed = !filter || filter->isAllowed(this, name, false);
  if (allowed && currentReader != readers.end() &&
      !currentReader->second->readMsg(name, input, this)) {
    return false;
  }
  machine.go(&MsgIpc::finishMsg);
  return true;
}

bool MsgIpc::finishMsg() {
  // The reader may have closed the connection.
  if (input.inMsg()) {
    input.skipMsg();
    input.endMsg();
  }
  machine.go(&MsgIpc::startMsg);
  return true;
}

void MsgIpc::skipBadMessage() {
  machine.go(&MsgIpc::finishMsg);
  try {
    finishMsg();
  } catch (const plat::Exception& e) {
    log.error("%s: skip error: %s", getName(), e.message);
  }
}

}  // namespace io
