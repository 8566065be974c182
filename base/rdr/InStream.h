#pragma once

#include <endian.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "base/plat/Assertion.h"
#include "base/plat/String.h"

namespace rdr {

class OutStream;

// Input window: [ptr, end) is read from the source and not consumed yet.
// Invariant: ptr <= end. Not thread-safe.
//
// Reading is transactional: the stream keeps every byte from the checkpoint on, and
// when a read would have to wait on a non-blocking source it goes back there and
// throws BlockException. A reader calls checkpoint() when it is done with a unit;
// otherwise the buffer fills up and plat::Exception "InStream overrun: buffer size
// exceeded" is thrown. A stream that is not rewindable keeps nothing.
//
// Integers are big-endian. Positions are 32-bit and wrap beyond 2 GiB; compare them
// by their difference only. The end of the source throws EndOfStream, that of a
// framed message EndOfMsg.
class InStream {
 public:
  virtual ~InStream();

  // Bytes consumed so far.
  virtual int pos() const = 0;
  // Returns the position.
  virtual int checkpoint();
  // Throws plat::Exception when the stream is not rewindable.
  virtual void rewind();
  // Throws plat::Exception for a position before the checkpoint.
  virtual void reposition(int newPos);
  // True: no further data can come. False promises nothing.
  virtual bool atEnd();

 protected:
  // Makes more data available behind ptr: itemSize bytes where the buffer can hold
  // them. True when it added data or made room, false when a non-blocking source
  // has nothing now.
  virtual bool fill(int itemSize) = 0;

 public:
  // Refill for a window that holds fewer than itemSize bytes. True: there is
  // something to read, though maybe less than itemSize. False, only without wait:
  // nothing now. That, or BlockException, leaves a rewindable stream at its checkpoint;
  // any other exception leaves it where the reader had come to.
  bool overrun(bool wait, int itemSize);

  void setRewindable(bool newRewindable) { rewindable = newRewindable; }
  bool isRewindable() const { return rewindable; }

  int nUnread() const { return static_cast<int>(end - ptr); }
  const uint8_t* getPtr() const { return ptr; }
  const uint8_t* getEnd() const { return end; }
  // The caller consumed the bytes before p in place.
  void setPtr(const uint8_t* p) {
    PLAT_ASSERT_THROW(p >= ptr && p <= end);
    ptr = p;
  }

  uint8_t readU8() {
    if (ptr == end) overrun(true, 1);
    return *ptr++;
  }
  int8_t readS8() { return static_cast<int8_t>(readU8()); }
  uint16_t readU16() { return be16toh(load<uint16_t>()); }
  int16_t readS16() { return static_cast<int16_t>(readU16()); }
  uint32_t readU32() { return be32toh(load<uint32_t>()); }
  int32_t readS32() { return static_cast<int32_t>(readU32()); }

  // Exactly len bytes.
  void readBytes(void* buf, int len) {
    if (len <= 0) return;
    if (len <= nUnread()) {
      memcpy(buf, ptr, static_cast<size_t>(len));
      ptr += len;
    } else {
      readBytesSlow(static_cast<uint8_t*>(buf), len);
    }
  }
  // Nothing for n <= 0.
  void skip(int n);

  // Up to *nItems whole items, consumed, in place: valid until the next read. Sets
  // *nItems to their number. Null when no whole item can be had: without wait on
  // an empty non-blocking source, or an item bigger than the buffer.
  // Preconditions: *nItems > 0, itemSize > 0 (bytes).
  const uint8_t* getItems(int itemSize, int* nItems, bool wait) {
    PLAT_ASSERT_THROW(*nItems > 0);
    if (itemSize > nUnread() && (!overrun(wait, itemSize) || itemSize > nUnread())) return nullptr;
    int64_t length = static_cast<int64_t>(*nItems) * itemSize;
    if (length > nUnread()) {
      *nItems = nUnread() / itemSize;
      length = static_cast<int64_t>(*nItems) * itemSize;
    }
    const uint8_t* items = ptr;
    ptr += length;
    return items;
  }
  // len contiguous bytes, consumed: in place when they are there, else in scratch.
  const uint8_t* getBytes(void* scratch, int len) {
    PLAT_ASSERT_THROW(len >= 0);
    if (len <= nUnread()) {
      const uint8_t* bytes = ptr;
      ptr += len;
      return bytes;
    }
    readBytesSlow(static_cast<uint8_t*>(scratch), len);
    return static_cast<const uint8_t*>(scratch);
  }
  // As getItems with wait; where that has none, one item copied into scratch.
  const uint8_t* getItemsOrCopy(void* scratch, int itemSize, int* nItems) {
    if (const uint8_t* items = getItems(itemSize, nItems, true)) return items;
    readBytes(scratch, itemSize);
    *nItems = 1;
    return static_cast<const uint8_t*>(scratch);
  }
  struct Span {
    int length;
    const uint8_t* data;
  };
  // The next n bytes of the window, consumed. Valid until the next read.
  Span getSpan(int n) {
    PLAT_ASSERT_THROW(nUnread() >= n);
    PLAT_ASSERT_THROW(n >= 0);
    Span span{n, ptr};
    ptr += n;
    return span;
  }

  // Reads exactly len bytes; returns the index of the first zero byte, or -1.
  int readBytesFindNul(void* buf, int len);

  // A string behind its length of 4 bytes or of 1 byte. `validate` repairs text that
  // is not valid UTF-8. The std::string keeps bytes behind a NUL within the text.
  // A length above maxLen throws StringTooLongException before the text is read.
  plat::String readString(int maxLen, bool validate = true);
  std::string readStdString(int maxLen, bool validate = true);
  plat::String readStringU8(bool validate = true);
  std::string readStdStringU8(bool validate = true);

  // One line without its line feed; carriage returns are dropped; the end of the
  // source or message ends it too. hadNul may be null. maxLen 0: 262144 bytes.
  // False when `validate` had to repair the line. Throws StringTooLongException
  // with the line empty, or what ended the source when there was no byte.
  bool readLine(std::string& line, int maxLen, bool* hadNul, bool validate = true);

  // Uniform below range (0: any value), from a stream of random bytes.
  uint32_t readBoundedU32(uint32_t range);

  // The window as a block: its length (4 bytes), then the bytes. Consumes nothing.
  void writeTo(OutStream& dest) const;

 protected:
  InStream() = default;
  InStream(const InStream&) = default;
  InStream& operator=(const InStream&) = default;

  const uint8_t* ptr = nullptr;
  const uint8_t* end = nullptr;
  const uint8_t* checkpointPtr = nullptr;
  int checkpointPos = 0;
  bool rewindable = true;

 private:
  template <class T>
  T load() {
    T scratch;
    T value;
    memcpy(&value, getBytes(&scratch, sizeof scratch), sizeof value);
    return value;
  }
  void readBytesSlow(uint8_t* buf, int len);
  std::string readText(uint32_t length, bool validate);
};

}  // namespace rdr
