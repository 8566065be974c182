#include "base/rdr/GatheringOutStream.h"

#include <algorithm>

#include "base/plat/Exception.h"

namespace rdr {

GatheringOutStream::GatheringOutStream(OutStream* newUnderlying, int size)
    : underlying(newUnderlying),
      buffer(std::make_unique_for_overwrite<uint8_t[]>(static_cast<size_t>(size))) {
  ptr = first = buffer.get();
  end = ptr + size;
}

int GatheringOutStream::length() const {
  return static_cast<int>(int64_t{offset} + (ptr - buffer.get()));
}

void GatheringOutStream::flush() {
  passOn();
  underlying->flush();
}

int GatheringOutStream::overrun(int itemSize, int nItems) {
  if (itemSize > end - buffer.get()) {
    throw plat::Exception("GatheringOutStream overrun: max itemSize exceeded");
  }
  passOn();
  return std::min(nItems, nFree() / itemSize);
}

void GatheringOutStream::passOn(int most) {
  uint8_t* from = first;
  const auto count = std::min(most, static_cast<int>(ptr - from));
  first += count;
  if (isEmpty()) drop();
  underlying->writeBytes(from, count);
}

void GatheringOutStream::drop() {
  offset = length();
  ptr = first = buffer.get();
}

}  // namespace rdr
