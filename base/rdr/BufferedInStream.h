#pragma once

#include "base/plat/MBuf.h"
#include "base/plat/NonCopyable.h"
#include "base/rdr/InStream.h"

namespace rdr {

// The window lies in a buffer of fixed size that keeps everything from the
// checkpoint on. Derived classes supply the source with readData().
class BufferedInStream : public InStream, private plat::NonCopyable {
 public:
  static constexpr int defaultBufSize = 16800;

  int pos() const override;

  // Appends to the buffered data a block as InStream::writeTo wrote it. Throws
  // plat::Exception "Too much data for InStream buffer" when it does not fit. Only
  // a whole block is appended.
  void readFrom(InStream& source);
  // The bytes are secrets, to be wiped before the buffer is freed.
  void setSecure(bool secure) { buffer.setWipe(secure); }
  // Dumps every block read to standard error.
  void setTrace(bool newTrace) { trace = newTrace; }

 protected:
  explicit BufferedInStream(int bufSize = -1);          // negative: the default
  BufferedInStream(BufferedInStream&& other) noexcept;  // leaves other without a buffer

  bool fill(int itemSize) override;
  // Reads 1 to len bytes and returns the count, or 0 when a non-blocking source has
  // nothing now. Throws EndOfStream at the end.
  virtual int readData(uint8_t* buf, int len) = 0;

 private:
  void compact();
  uint8_t* freeStart() { return buffer.data() + (end - buffer.data()); }
  int freeSize() const { return buffer.size() - static_cast<int>(end - buffer.data()); }

  int offset = 0;  // position of the buffer's first byte
  plat::MBuf<unsigned char> buffer;
  bool trace = false;
};

}  // namespace rdr
