#include "base/rdr/FramedOutStream.h"

#include <algorithm>

#include "base/rdr/Exceptions.h"

namespace rdr {

FramedOutStream::FramedOutStream(OutStream* newUnderlying, int newMaxFrameSize, int newHdrSize)
    : maxFrameSize(newMaxFrameSize), hdrSize(newHdrSize), underlying(newUnderlying) {}

void FramedOutStream::setUnderlying(OutStream* newUnderlying) {
  underlying = newUnderlying;
  inMsg = inFrame = false;
  ptr = end = nullptr;
}

void FramedOutStream::startMsg() {
  if (inMsg) throw FrameException("FramedOutStream::startMsg: already in msg");
  PLAT_ASSERT(underlying);
  firstFrame = true;
  startFrame(0);
  inMsg = true;
}

void FramedOutStream::endMsg(bool flush) {
  if (!inFrame) throw FrameException("FramedOutStream::endMsg: not in frame");
  endFrame(true);
  inMsg = false;
  if (flush) underlying->flush();
}

int FramedOutStream::length() const {
  const int open = inMsg && inFrame ? std::max(openBytes(), 0) : 0;
  return static_cast<int>(int64_t{total} + open);
}

void FramedOutStream::flush() {
  if (inMsg) endFrame(false);
  target().flush();
  if (inMsg) startFrame(0);
}

int FramedOutStream::freeSpace() const {
  return std::max(target().freeSpace() - hdrSize, 0);
}

int FramedOutStream::overrun(int itemSize, int nItems) {
  endFrame(false);
  startFrame(itemSize);
  return std::min(nItems, nFree() / itemSize);
}

OutStream& FramedOutStream::target() const {
  PLAT_ASSERT(underlying);
  return *underlying;
}

void FramedOutStream::startFrame(int minSize) {
  PLAT_ASSERT(!inFrame);
  if (underlying->nFree() < hdrSize + minSize) underlying->overrun(hdrSize + minSize, 1);
  inFrame = true;
  ptr = underlying->getPtr() + hdrSize;
  end = ptr + std::min(underlying->nFree() - hdrSize, maxFrameSize);
}

void FramedOutStream::endFrame(bool lastFrame) {
  if (!inFrame) throw FrameException("FramedOutStream::endFrame: not in frame");
  inFrame = false;
  const int frameLength = openBytes();
  if (frameLength != 0 || lastFrame) {
    uint8_t* dataEnd = ptr;
    ptr = underlying->getPtr();
    if (nFree() < hdrSize) {
      throw FrameException("FramedOutStream::endFrame: no space for header");
    }
    writeHeader(frameLength, lastFrame, firstFrame);
    PLAT_ASSERT(ptr == underlying->getPtr() + hdrSize);
    total = static_cast<int>(int64_t{total} + frameLength);
    underlying->setPtr(dataEnd);
    firstFrame = false;
  }
  ptr = end = underlying->getPtr();
}

}  // namespace rdr
