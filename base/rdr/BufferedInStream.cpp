#include "base/rdr/BufferedInStream.h"

#include <algorithm>
#include <utility>

#include "base/plat/hexDump.h"

namespace rdr {

BufferedInStream::BufferedInStream(int bufSize) : buffer(bufSize < 0 ? defaultBufSize : bufSize) {
  ptr = end = checkpointPtr = buffer.data();
}

BufferedInStream::BufferedInStream(BufferedInStream&& other) noexcept
    : InStream(other),
      NonCopyable(),
      offset(other.offset),
      buffer(std::move(other.buffer)),
      trace(other.trace) {
  other.ptr = other.end = other.checkpointPtr = nullptr;
}

int BufferedInStream::pos() const {
  return static_cast<int>(int64_t{offset} + (ptr - buffer.data()));
}

void BufferedInStream::readFrom(InStream& source) {
  if (!rewindable) checkpoint();
  const uint32_t length = source.readU32();
  compact();
  if (length > static_cast<uint32_t>(freeSize())) {
    throw plat::Exception("Too much data for InStream buffer");
  }
  source.readBytes(freeStart(), static_cast<int>(length));
  end += length;
}

bool BufferedInStream::fill(int itemSize) {
  compact();
  const int room = buffer.size() - static_cast<int>(ptr - buffer.data());
  const int need = std::min(room, itemSize);
  while (nUnread() < need) {
    int count = readData(freeStart(), freeSize());
    if (count == 0) return false;
    if (trace) plat::hexDump(end, count, " <-- ");
    end += count;
  }
  return true;
}

// Drops what lies before the checkpoint.
void BufferedInStream::compact() {
  const ptrdiff_t distance = checkpointPtr - buffer.data();
  if (distance == 0) return;
  memmove(buffer.data(), checkpointPtr, static_cast<size_t>(end - checkpointPtr));
  ptr -= distance;
  end -= distance;
  checkpointPtr -= distance;
  offset = static_cast<int>(int64_t{offset} + distance);
}

}  // namespace rdr
