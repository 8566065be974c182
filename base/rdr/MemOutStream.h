#pragma once

#include "base/plat/String.h"
#include "base/rdr/OutStream.h"

namespace rdr {

// A growable memory buffer. Beyond its maximum size, or 2 GiB - 1, it throws
// OutStreamFull; what was written before stays.
class MemOutStream : public OutStream {
 public:
  // A negative capacity is 256, 0 allocates nothing. A maximum of 0 or less is none.
  explicit MemOutStream(int capacity = -1, int maxSize = 0);
  ~MemOutStream() override;

  void writeBytes(const void* data, int len) override;
  int length() const override { return static_cast<int>(ptr - start); }
  void flush() override {}
  int freeSpace() const override;
  int overrun(int itemSize, int nItems) override;

  const uint8_t* data() const { return start; }  // null while nothing is allocated
  // Drops everything behind the first newLength bytes, which must have been written.
  void truncate(int newLength);
  // 0 removes the limit. Data above a new limit stays.
  void setMaxSize(int newMaxSize);
  // Appends a NUL unless the data ends with one; the limit does not count for it.
  void nulTerminate();

  // Each leaves the stream empty, without a buffer.
  uint8_t* takeBuffer();    // malloc-allocated, for the caller to free; may be null
  plat::String takeText();  // NUL-terminated

 private:
  void reallocate(int newCapacity);
  void updateEnd();

  uint8_t* start = nullptr;  // owned, malloc-allocated
  int capacity = 0;          // bytes
  int maxSize;               // bytes; 0: no limit
};

}  // namespace rdr
