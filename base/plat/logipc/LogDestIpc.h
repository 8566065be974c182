#pragma once

#include <memory>
#include <vector>

#include "base/io/MsgIpc.h"
#include "base/plat/LogDest.h"
#include "base/plat/LogEntry.h"
#include "base/plat/logipc/Kicker.h"
#include "base/plat/unix/RecursiveMutex.h"

namespace plat {

// The destination "ipc": queues messages from any thread, 1000 at most and then one
// notice, and sends them over a channel to the server that collects the logs. The server
// sends the level it wants as the message "setLogLevel" (level:int32); until then, and
// from the end of its connection to the next "setLogLevel", messages only wait. Each goes
// as the message "logMsg":
//   level:int32 sourceLength:uint32 source textLength:uint32 text   (text: at most 1024)
class LogDestIpc : public LogDest, private Kickee, private io::MsgIpc::Reader {
 public:
  // One per process, registered by name at start-up and never destroyed. From start-up on
  // a fatal assertion flushes it.
  static LogDestIpc& instance();

  void write(int level, const char* source, const char* text) override;
  // Null: no prefix, the default. Otherwise sources are sent as "<prefix>: <source>".
  void setPrefix(const char* newPrefix);

  // The following belong to the channel's thread, which has a current io::FdManager.

  // The channel is borrowed until it is replaced or, with null, detached. Not while this
  // destination sends, nor from a connection change that sending causes. Throws
  // plat::SystemException.
  void setMsgIpc(io::MsgIpc* ipc);
  // Sends what waits when the server has told its level. Throws what sending throws, and
  // closes the channel then unless its filter refused; the messages taken out are lost.
  void flush();

 private:
  LogDestIpc();

  void kicked(Kicker*) override;
  bool readMsg(const char*, rdr::InStream& in, io::MsgIpc*) override;
  void connectionChanged(io::MsgIpc*) override;
  void setConnected(bool newConnected);

  RecursiveMutex mutex;
  std::vector<LogEntry> entries;
  io::MsgIpc* msgIpc = nullptr;
  bool connected = false;  // the server has told its level
  String prefix;
  std::unique_ptr<Kicker> kicker;  // null while detached
};

}  // namespace plat
