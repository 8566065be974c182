#pragma once

#include "base/io/IoAcceptor.h"
#include "base/io/IoHandler.h"
#include "base/plat/Exception.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"
#include "base/rdr/NullOutStream.h"

namespace rdr {
class InStream;
}

namespace io {

// Holds one connection at a time, which it owns, and turns its events into calls. While
// there is none, what is written vanishes. Belongs to the connection's thread.
class Ipc : public IoAcceptor, private IoHandler, private plat::NonCopyable {
 public:
  class Callback {
   public:
    // Reads what has arrived. rdr::BlockException ends the call and is ignored; any
    // other plat::Exception ends the connection.
    virtual void ipcReadable(Ipc* ipc) = 0;
    // The connection is gone.
    virtual void ipcClosed(Ipc* ipc) = 0;
    // Precedes ipcClosed() when an exception ends the connection.
    virtual void ipcError(Ipc* ipc, const plat::Exception& e) = 0;
    virtual ~Callback() = default;
  };

  // `name` is the prefix of the log messages. The callback is borrowed. `blocking`:
  // connections are used without a handler and reading waits; otherwise the thread's
  // current FdManager brings the events.
  Ipc(const char* name, Callback* callback, bool blocking);
  // Closes the connection without telling the callback; in event-driven use what is
  // buffered is still delivered.
  ~Ipc() override;

  // Precondition: none is attached.
  void setIo(Io* newIo);
  void acceptIo(Io* newIo) override { setIo(newIo); }
  // What a readable event does.
  void run() override;
  // Hands the connection over to the caller, in blocking mode with an input that
  // is not rewindable: waits until what is buffered is delivered. Nothing when there is none.
  void releaseIo() override;
  // Ends the connection. `flush`: first delivers what is buffered, in blocking use by
  // waiting for it. Nothing when there is none.
  void close(bool flush);

  Io* getIo() const { return io; }  // null: not connected
  bool isConnected() const { return io; }
  bool isBlocking() const { return blockingUse; }
  const char* getName() const { return ipcName.orEmpty(); }
  rdr::InStream* in() const;  // null: not connected
  rdr::OutStream* out();      // never null

 private:
  void ioReadable(Io*) override { Ipc::run(); }
  void ioShutdownComplete(Io*) override;

  Io* detach();

  plat::String ipcName;
  Callback* callback;
  Io* io = nullptr;
  rdr::NullOutStream nullOut;
  bool blockingUse;
};

}  // namespace io
