#pragma once

#include <map>

#include "base/io/Ipc.h"
#include "base/rdr/InStreamV4.h"
#include "base/rdr/OutStreamV4.h"
#include "base/rdr/StateMachine.h"

namespace io {

// The filter refuses to send a message.
class MsgNotAllowed : public plat::Exception {
 public:
  using Exception::Exception;
};

// Named messages over a connection, each one message of rdr::OutStreamV4:
//   nameLength:uint8 name:byte[nameLength] body
// The body belongs to the message's sender and reader. The name "badMsg" is reserved;
// its body, a string behind its length of one byte, is a name that its sender did not
// know.
//
// Belongs to the connection's thread.
class MsgIpc : public Ipc, private Ipc::Callback {
 public:
  class Reader {
   public:
    // True: read as far as it is wanted; the rest of the body is skipped. False, or
    // rdr::BlockException, when the input had no more for now: called again with it
    // rewound to the body's first byte, or to its checkpoint. A body larger than the
    // input buffer needs checkpoints. In blocking use the input waits, so false is not
    // for there. Any other plat::Exception is a failure of the connection. May close it.
    virtual bool readMsg(const char* name, rdr::InStream& in, MsgIpc* ipc) = 0;
    // A connection came or went: see isConnected(). May register readers.
    virtual void connectionChanged(MsgIpc*) {}
    virtual ~Reader() = default;
  };

  class Filter {
   public:
    // Whether a message may be sent, or given to its reader, now.
    virtual bool isAllowed(MsgIpc* ipc, const char* name, bool outgoing) = 0;
    // The exception is about to end the connection.
    virtual void ipcFailed(MsgIpc* ipc, const plat::Exception& e) = 0;
    virtual ~Filter() = default;
  };

  // The filter is borrowed; null allows everything. Neither constructor nor destructor
  // calls the readers.
  MsgIpc(Filter* filter, const char* name, bool blocking, bool discardWhenDisconnected);

  // Borrowed until replaced or, with null, removed. The reader of the null name reads
  // what has no reader of its own. May be called by a reader.
  void registerReader(const char* name, Reader* reader);

  // Starts a message: the caller writes the body to the returned stream and ends it with
  // its endMsg(). Throws MsgNotAllowed when the filter refuses the name. A message
  // without a connection vanishes.
  rdr::OutStreamV4& writeMsg(const char* name);

  // For blocking use. Handles one message; with `expected` it must be that one or
  // "badMsg". What is wrong with a message throws plat::Exception when the rest of it
  // has been skipped. On a non-blocking input without a whole message
  // rdr::BlockException is thrown, and run() goes on with it.
  void readMessage(const char* expected);
  // Handles messages up to the next one with that name.
  void readUntil(const char* name);
  // Handles messages until the input ends or the connection is closed.
  void drain();

  void acceptIo(Io* newIo) override;
  // Handles messages until the input runs dry. Exceptions pass through.
  void run() override;

  // An unknown name is answered with "badMsg", which no filter is asked about.
  // Initially off.
  void setAnswerBadNames(bool answer) { answerBadNames = answer; }
  // In event-driven use, an event handles one message at most, so that a flood from one
  // connection does not cost the others their turn. Initially off.
  void setTakeTurns(bool take) { takeTurns = take; }
  // An unknown name that is not answered and begins below "A" closes the connection:
  // the peer speaks something else. Initially on.
  void setDropOnNonLetterName(bool drop) { dropOnNonLetterName = drop; }

 protected:
  // Tells the filter.
  virtual void notifyFilter(const plat::Exception& e);

 private:
  using Readers = std::map<plat::String, Reader*, plat::LessString>;

  void ipcReadable(Ipc*) override { run(); }
  void ipcClosed(Ipc*) override { connectionChanged(); }
  void ipcError(Ipc*, const plat::Exception& e) override { notifyFilter(e); }

  bool startMsg();
  bool readName();
  bool readBody();
  bool finishMsg();

  void connectionChanged();
  rdr::OutStreamV4& startNamed(const char* name);
  void unknownName();
  void skipBadMessage();

  Filter* filter;
  rdr::InStreamV4 input;
  rdr::OutStreamV4 output;
  rdr::StateMachine<MsgIpc> machine;
  Readers readers;
  Readers::iterator currentReader;  // end: removed while its message was read
  plat::String expectedName;        // null: any
  plat::String receivedName;
  bool discardWhenDisconnected;
  bool answerBadNames = false;
  bool takeTurns = false;
  bool dropOnNonLetterName = true;
};

}  // namespace io
