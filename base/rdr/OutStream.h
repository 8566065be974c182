#pragma once

#include <endian.h>

#include <cstdint>
#include <cstring>

#include "base/plat/Assertion.h"

namespace rdr {

// Output window: [ptr, end) is writable. Invariant: ptr <= end. Bytes may stay in
// the buffer until flush(). Not thread-safe. Integers are big-endian.
class OutStream {
 public:
  OutStream(const OutStream&) = delete;
  OutStream& operator=(const OutStream&) = delete;
  virtual ~OutStream();

  virtual void writeBytes(const void* data, int len);
  // Bytes written so far; 32-bit, wraps beyond 2 GiB.
  virtual int length() const = 0;
  virtual void flush();
  // The last of a chain of streams that write into one another.
  virtual OutStream* innermost();
  // Accepted, not yet delivered to the destination.
  virtual int pendingBytes();
  // How many more bytes the stream takes before it blocks or is full; INT_MAX: no limit. A
  // filtering stream estimates it from the one below: with 0 left, it may still take some.
  virtual int freeSpace() const = 0;
  // Ends the write direction of the destination; returns whether that was done.
  virtual bool shutdown();
  // Whether write failures of the destination are thrown.
  virtual void setThrowErrors(bool newThrowErrors);
  // Slow path. Precondition: end - ptr < itemSize (bytes).
  // Makes room for at least one item of itemSize bytes, or throws.
  // Returns how many of nItems may be written without asking again; 0 only when
  // a buffered stream was asked for an item above its window of 16384 bytes.
  virtual int overrun(int itemSize, int nItems) = 0;

  uint8_t* getPtr() { return ptr; }
  uint8_t* getEnd() { return end; }
  int nFree() const { return static_cast<int>(end - ptr); }
  // Publishes the bytes that the caller wrote into the window before p.
  void setPtr(uint8_t* p) {
    PLAT_ASSERT_THROW(p >= ptr && p <= end);
    ptr = p;
  }

  void writeU8(uint8_t value) {
    if (ptr == end) overrun(1, 1);
    *ptr++ = value;
  }
  void writeS8(int8_t value) { writeU8(static_cast<uint8_t>(value)); }
  void writeU16(uint16_t value) { store(htobe16(value)); }
  void writeS16(int16_t value) { writeU16(static_cast<uint16_t>(value)); }
  void writeU32(uint32_t value) { store(htobe32(value)); }
  void writeS32(int32_t value) { writeU32(static_cast<uint32_t>(value)); }

  // Advances over n bytes, which keep what the buffer held; the caller fills them in.
  void skip(int n);
  // The text up to its NUL, of which at most maxLen bytes are looked at (-1: all),
  // behind its length of 4 bytes.
  void writeString(const char* text, int maxLen = -1);
  // The same behind a length of 1 byte; cut to 255 bytes.
  void writeStringU8(const char* text);

 protected:
  OutStream() = default;

  uint8_t* ptr = nullptr;
  uint8_t* end = nullptr;

 private:
  template <class T>
  void store(T bigEndian) {
    if (nFree() < static_cast<int>(sizeof bigEndian)) overrun(sizeof bigEndian, 1);
    memcpy(ptr, &bigEndian, sizeof bigEndian);
    ptr += sizeof bigEndian;
  }
};

}  // namespace rdr
