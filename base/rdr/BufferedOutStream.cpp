#include "base/rdr/BufferedOutStream.h"

#include <algorithm>
#include <climits>
#include <utility>

#include "base/plat/ConfigParameter.h"
#include "base/plat/hexDump.h"
#include "base/rdr/Exceptions.h"

namespace rdr {

static plat::IntParameter maxOutBufferSize(
    "MaxOutBufferSize",
    "The maximum number of bytes to buffer internally when writing to slow connections.  Larger "
    "values improve concurrency, smaller values reduce memory usage.  Changes to this setting "
    "affect new connections only.",
    134217728, true, nullptr, 16384, INT_MAX);

BufferedOutStream::BufferedOutStream(int size, int maxSize)
    : bufSize(size < 0 ? defaultBufSize : size),
      maxBufSize(std::max(maxSize < 0 ? maxOutBufferSize.getValue() : maxSize, bufSize)),
      buffer(std::make_unique_for_overwrite<uint8_t[]>(static_cast<size_t>(bufSize))),
      sent(buffer.get()) {
  ptr = sent;
  updateEnd();
}

int BufferedOutStream::length() const {
  return static_cast<int>(int64_t{offset} + (ptr - buffer.get()));
}

void BufferedOutStream::flush() {
  flushBuffer(blocking);
}

// The free room, the delivered bytes at the front and what the buffer may grow.
int BufferedOutStream::freeSpace() const {
  return maxBufSize - pendingSize();
}

int BufferedOutStream::overrun(int itemSize, int nItems) {
  if (bufSize == 0) throw OutStreamFull();
  if (maxBufSize < itemSize) {
    throw plat::Exception("BufferedOutStream overrun: buffer size exceeded");
  }
  flushBuffer(false);
  while (bufSize - pendingSize() < itemSize) {
    if (maxBufSize > bufSize) {
      grow();
    } else if (!writeSome(true)) {
      throw plat::Exception("BufferedOutStream overrun: unable to write");
    }
  }
  if (const ptrdiff_t delivered = sent - buffer.get(); delivered > 0) {
    memmove(buffer.get(), sent, static_cast<size_t>(ptr - sent));
    advanceOffset(delivered);
    ptr -= delivered;
    sent -= delivered;
  }
  updateEnd();
  return std::min(nItems, nFree() / itemSize);
}

bool BufferedOutStream::writeSome(bool needWrite) {
  int count = writeData(sent, pendingSize(), needWrite);
  if (count == 0) return false;
  if (trace) plat::hexDump(sent, count, " --> ");
  sent += count;
  return true;
}

void BufferedOutStream::flushBuffer(bool needWrite) {
  while (sent < ptr) {
    if (!writeSome(needWrite)) return;
  }
  emptyBuffer();
}

void BufferedOutStream::emptyBuffer() {
  advanceOffset(ptr - buffer.get());
  ptr = sent = buffer.get();
  updateEnd();
}

void BufferedOutStream::advanceOffset(int64_t bytes) {
  offset = static_cast<int>(int64_t{offset} + bytes);
}

void BufferedOutStream::grow() {
  const int newSize = static_cast<int>(std::min(int64_t{bufSize} * 2, int64_t{maxBufSize}));
  auto larger = std::make_unique_for_overwrite<uint8_t[]>(static_cast<size_t>(newSize));
  const int pending = pendingSize();
  memcpy(larger.get(), sent, static_cast<size_t>(pending));
  advanceOffset(sent - buffer.get());
  buffer = std::move(larger);
  bufSize = newSize;
  sent = buffer.get();
  ptr = sent + pending;
  updateEnd();  // also for a caller that goes on after a write that fails
}

void BufferedOutStream::updateEnd() {
  end = buffer.get() + std::min(ptr - buffer.get() + maxWindow, static_cast<ptrdiff_t>(bufSize));
}

}  // namespace rdr
