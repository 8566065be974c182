#pragma once

#include "base/plat/NonCopyable.h"
#include "base/rdr/InStream.h"

namespace rdr {

// Reads the messages that a FramedOutStream wrote. The window is that of the underlying
// stream cut to the current frame; the underlying stream keeps the bytes from the
// checkpoint on, so it is rewindable where this stream is, and nobody else reads from it
// or moves its checkpoint during a message.
//
// Reading past the end of the message throws EndOfMsg. A BlockException leaves this
// stream at its checkpoint: the start of the message, or the last checkpoint(). A message
// larger than the underlying buffer needs checkpoints on the way, or a stream that is not
// rewindable. Reading outside a message is a fatal assertion.
class FramedInStream : public InStream, private plat::NonCopyable {
 public:
  class Sink {
   public:
    virtual ~Sink() = default;
    virtual void write(const uint8_t* data, int length) = 0;
  };

  // Leaves any message.
  void setUnderlying(InStream* newUnderlying);
  // True: in a message, maybe the one already begun. False, only without wait: its first
  // header is not there yet. Needs an underlying stream.
  bool startMsg(bool wait);
  // Throws FrameException when data is left.
  void endMsg();
  bool inMsg() const { return inMsg_; }
  // Consumes the rest of the current message, whatever its size: the checkpoint goes along.
  void skipMsg();
  // The same, and passes it to the sink.
  void copyMsg(Sink& sink);

  int pos() const override;  // data bytes of all messages consumed
  int checkpoint() override;
  void rewind() override;
  // No data is left in the message. May wait for a header.
  bool atEnd() override;

 protected:
  // newUnderlying is borrowed: it outlives this stream or is replaced with
  // setUnderlying(). Null is allowed while idle.
  explicit FramedInStream(InStream* newUnderlying) : underlying(newUnderlying) {}

  bool fill(int itemSize) override;
  // Reads one header from source(), waiting for it.
  virtual void readHeader(int* size, bool* last, bool firstFrame) = 0;
  InStream& source() { return *underlying; }

 private:
  struct SynchroniseOnExit;

  void synchronise();
  void consume();
  void keepFromHere();
  void nextFrame();

  bool inMsg_ = false;
  bool lastFrame = false;
  bool checkpointLastFrame = false;
  int frameSize = 0;  // data bytes of the current frame not consumed yet
  int checkpointFrameSize = 0;
  int position = 0;  // where the underlying stream stands
  InStream* underlying;
};

}  // namespace rdr
