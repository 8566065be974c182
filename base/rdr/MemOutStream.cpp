#include "base/rdr/MemOutStream.h"

#include <algorithm>
#include <climits>
#include <new>

#include "base/rdr/Exceptions.h"

namespace rdr {

MemOutStream::MemOutStream(int initialCapacity, int initialMaxSize)
    : maxSize(std::max(initialMaxSize, 0)) {
  if (initialCapacity < 0) initialCapacity = 256;
  if (initialCapacity > 0) reallocate(initialCapacity);
  updateEnd();
}

MemOutStream::~MemOutStream() {
  free(start);
}

void MemOutStream::writeBytes(const void* data, int len) {
  if (len <= 0) return;
  if (len > nFree()) overrun(len, 1);
  memcpy(ptr, data, static_cast<size_t>(len));
  ptr += len;
}

int MemOutStream::freeSpace() const {
  return maxSize > 0 ? std::max(maxSize - length(), 0) : INT_MAX;
}

int MemOutStream::overrun(int itemSize, int nItems) {
  const int64_t limit = maxSize > 0 ? maxSize : INT_MAX;
  const int64_t used = length();
  if (used + itemSize > limit) throw OutStreamFull();
  const int64_t wanted = used + static_cast<int64_t>(itemSize) * nItems;
  const int64_t newCapacity = std::min(limit, std::max(wanted, static_cast<int64_t>(capacity) * 2));
  if (newCapacity > capacity) reallocate(static_cast<int>(newCapacity));
  updateEnd();
  return std::min(nItems, nFree() / itemSize);
}

void MemOutStream::truncate(int newLength) {
  PLAT_ASSERT(newLength >= 0 && newLength <= length());
  ptr = start + newLength;
  updateEnd();
}

void MemOutStream::setMaxSize(int newMaxSize) {
  maxSize = std::max(newMaxSize, 0);
  updateEnd();
}

void MemOutStream::nulTerminate() {
  if (ptr > start && ptr[-1] == 0) return;
  if (length() == capacity) {
    if (capacity == INT_MAX) throw OutStreamFull();
    reallocate(capacity + 1);
  }
  *ptr++ = 0;
  updateEnd();
}

uint8_t* MemOutStream::takeBuffer() {
  uint8_t* taken = start;
  start = ptr = end = nullptr;
  capacity = 0;
  return taken;
}

plat::String MemOutStream::takeText() {
  nulTerminate();
  return plat::String::adopt(reinterpret_cast<char*>(takeBuffer()));
}

// Precondition: newCapacity >= length() and > 0.
void MemOutStream::reallocate(int newCapacity) {
  const int used = length();
  void* moved = realloc(start, static_cast<size_t>(newCapacity));
  if (!moved) throw std::bad_alloc();
  start = static_cast<uint8_t*>(moved);
  ptr = start + used;
  capacity = newCapacity;
}

// Data above the limit must not leave the window's end before its start.
void MemOutStream::updateEnd() {
  const int usable = maxSize > 0 ? std::min(maxSize, capacity) : capacity;
  end = start + std::max(usable, length());
}

}  // namespace rdr
