#include "base/rdr/FramedInStream.h"

#include <algorithm>

#include "base/rdr/Exceptions.h"

namespace rdr {

// Whatever the underlying stream does, thrown exceptions included, may move its buffer.
struct FramedInStream::SynchroniseOnExit {
  FramedInStream& stream;
  ~SynchroniseOnExit() { stream.synchronise(); }
};

void FramedInStream::setUnderlying(InStream* newUnderlying) {
  underlying = newUnderlying;
  inMsg_ = false;
  synchronise();
}

bool FramedInStream::startMsg(bool wait) {
  if (inMsg_) return true;
  PLAT_ASSERT(underlying);
  int size = 0;
  bool last = false;
  try {
    readHeader(&size, &last, true);
  } catch (const BlockException&) {
    if (wait) throw;
    return false;
  }
  inMsg_ = true;
  lastFrame = last;
  frameSize = size;
  synchronise();
  checkpoint();
  return true;
}

void FramedInStream::endMsg() {
  if (!atEnd()) throw FrameException("FramedInStream::endMsg: data left in msg");
  checkpoint();
  inMsg_ = false;
}

void FramedInStream::skipMsg() {
  struct : Sink {
    void write(const uint8_t*, int) override {}
  } nowhere;
  copyMsg(nowhere);
}

void FramedInStream::copyMsg(Sink& sink) {
  while (!atEnd()) {
    if (ptr == end) overrun(true, 1);
    Span span = getSpan(nUnread());
    sink.write(span.data, span.length);
    checkpoint();
  }
}

int FramedInStream::pos() const {
  return static_cast<int>(int64_t{position} + (inMsg_ ? ptr - underlying->getPtr() : 0));
}

int FramedInStream::checkpoint() {
  if (inMsg_) {
    consume();
    keepFromHere();
  }
  return position;
}

void FramedInStream::keepFromHere() {
  underlying->checkpoint();
  checkpointPos = position;
  checkpointLastFrame = lastFrame;
  checkpointFrameSize = frameSize;
}

void FramedInStream::rewind() {
  if (!inMsg_) return;
  if (!rewindable) return InStream::rewind();  // which refuses
  underlying->rewind();
  position = checkpointPos;
  lastFrame = checkpointLastFrame;
  frameSize = checkpointFrameSize;
  synchronise();
}

bool FramedInStream::atEnd() {
  PLAT_ASSERT(inMsg_);
  if (!rewindable) checkpoint();
  try {
    nextFrame();
  } catch (const BlockException&) {
    if (rewindable) rewind();
    throw;
  }
  return frameSize == 0;
}

bool FramedInStream::fill(int itemSize) {
  PLAT_ASSERT(inMsg_);
  consume();
  // An item across frames is read byte by byte: what is left of this frame comes first.
  if (frameSize < itemSize && nUnread() > 0) return true;
  nextFrame();
  if (frameSize == 0) throw EndOfMsg();
  SynchroniseOnExit synchroniseOnExit{*this};
  const int wanted = std::min(itemSize, frameSize);
  return underlying->nUnread() >= wanted || underlying->overrun(false, wanted);
}

void FramedInStream::synchronise() {
  ptr = end = underlying ? underlying->getPtr() : nullptr;
  if (!inMsg_) return;
  end = ptr + std::min(underlying->nUnread(), frameSize);
  PLAT_ASSERT(end >= ptr);
}

void FramedInStream::consume() {
  const int consumed = static_cast<int>(ptr - underlying->getPtr());
  frameSize -= consumed;
  PLAT_ASSERT(frameSize >= 0);
  position = static_cast<int>(int64_t{position} + consumed);
  underlying->setPtr(ptr);
}

// Goes on to a frame that is the last or has data. Throws BlockException when its header is
// not there yet.
void FramedInStream::nextFrame() {
  consume();
  SynchroniseOnExit synchroniseOnExit{*this};
  while (!lastFrame && frameSize == 0) {
    int size = 0;
    bool last = false;
    readHeader(&size, &last, false);
    frameSize = size;
    lastFrame = last;
    // A rewindable source would go back to before the header, which is not data.
    if (!rewindable) keepFromHere();
  }
}

}  // namespace rdr
