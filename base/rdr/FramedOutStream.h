#pragma once

#include "base/rdr/OutStream.h"

namespace rdr {

// Cuts what is written into messages, and those into frames with a header each, which
// are built in place in the window of the underlying stream. A frame ends where that
// window ends, at its maximum size, at a flush and at the end of the message; only the
// last frame of a message may be empty.
//
// Nobody else writes to the underlying stream during a message. Writing outside a
// message and calls in the wrong order throw FrameException.
class FramedOutStream : public OutStream {
 public:
  // Leaves any message; its open frame is dropped.
  void setUnderlying(OutStream* newUnderlying);
  // Needs an underlying stream.
  void startMsg();
  // With `flush` the underlying stream is flushed too.
  void endMsg(bool flush);

  int length() const override;  // data bytes of all messages, without headers
  void flush() override;
  OutStream* innermost() override { return target().innermost(); }
  int freeSpace() const override;
  bool shutdown() override { return target().shutdown(); }
  int overrun(int itemSize, int nItems) override;

 protected:
  // newUnderlying is borrowed: it outlives this stream or is replaced with
  // setUnderlying(). Null is allowed while idle. Sizes in bytes, without the header and
  // of the header.
  FramedOutStream(OutStream* newUnderlying, int newMaxFrameSize, int newHdrSize);

  // Writes exactly the header's size at ptr.
  virtual void writeHeader(int length, bool lastFrame, bool firstFrame) = 0;

 private:
  OutStream& target() const;
  void startFrame(int minSize);
  void endFrame(bool lastFrame);
  int openBytes() const { return static_cast<int>(ptr - underlying->getPtr()) - hdrSize; }

  int maxFrameSize;
  int hdrSize;
  bool inMsg = false;
  bool inFrame = false;
  bool firstFrame = false;  // the open frame is the message's first
  int total = 0;            // data bytes of all frames written
  OutStream* underlying;
};

}  // namespace rdr
