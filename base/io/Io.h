#pragma once

#include <memory>

#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"

namespace rdr {
class InStream;
class OutStream;
}  // namespace rdr

namespace io {

class IoHandler;

// One connection: a pair of streams, which it owns, and named properties (flags).
// Blocking while it has no handler; event-driven, on one thread, with one. A
// connection that shutdown() ends destroys itself, so it lives on the heap.
class Io : private plat::NonCopyable {
 public:
  // The handler is borrowed until it is replaced; null makes the connection
  // blocking. `checkReadable` also queues events for what is buffered already.
  virtual void setHandler(IoHandler* handler, bool checkReadable) = 0;
  // Ends the connection and destroys this object: at once in blocking mode
  // (precondition: !tellHandler), later in event-driven mode. `flush`: first
  // delivers what is buffered, within a time limit.
  virtual void shutdown(bool flush, bool tellHandler) = 0;
  // Asks for a readable event although no new bytes arrived.
  virtual void markReadable();
  virtual bool isEncrypted() { return false; }
  // The texts belong to the connection and are never null.
  virtual const char* name() = 0;  // for log messages
  virtual const char* peerEndpoint() { return ""; }
  virtual const char* peerName() { return peerEndpoint(); }
  virtual const char* localEndpoint() { return ""; }
  virtual const char* localName() { return ""; }
  // For reading and for writing; -1: no limit.
  virtual void setTimeout(int ms) = 0;
  virtual ~Io();

  rdr::InStream* in() const { return inStream.get(); }
  rdr::OutStream* out() const { return outStream.get(); }
  plat::StringSet& getFlags() { return flags; }

  // Hand the flags and the bytes read ahead to another owner:
  //   count:uint8 (length:uint8 flag)* length:uint32 unreadBytes
  // Precondition: the input is an rdr::BufferedInStream.
  void writeState(rdr::OutStream& destination);
  // Adds to the flags and appends to the input. Throws plat::Exception when the
  // bytes do not fit.
  void readState(rdr::InStream& source);

 protected:
  Io();

  std::unique_ptr<rdr::InStream> inStream;
  std::unique_ptr<rdr::OutStream> outStream;
  plat::StringSet flags;
};

}  // namespace io
