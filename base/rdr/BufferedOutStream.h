#pragma once

#include <memory>

#include "base/rdr/OutStream.h"

namespace rdr {

// Gathers the output in a buffer, delivers it with writeData() of the derived class
// and lets the buffer grow to a maximum before it blocks. Destruction drops what is
// not delivered.
class BufferedOutStream : public OutStream {
 public:
  static constexpr int defaultBufSize = 16384;
  // The window never reaches further beyond the buffered data, so that a large
  // buffer fills in steps with a chance to deliver after each.
  static constexpr int maxWindow = 16384;

  int length() const override;
  void flush() override;
  int pendingBytes() override { return pendingSize(); }
  int freeSpace() const override;
  void setThrowErrors(bool newThrowErrors) override { throwErrors = newThrowErrors; }
  int overrun(int itemSize, int nItems) override;

  // How long one blocking write waits for the destination; negative: no limit.
  void setWriteTimeout(int ms) { writeTimeoutMs = ms; }
  // Dumps every block delivered to standard error.
  void setTrace(bool newTrace) { trace = newTrace; }

 protected:
  // Negative: the default size; the parameter MaxOutBufferSize as the maximum. The
  // maximum is at least the size.
  explicit BufferedOutStream(int bufSize = -1, int maxBufSize = -1);

  // Delivers at most len bytes and returns the count. needWrite: waits for the destination
  // where it would block; without, 0 tells that it would.
  virtual int writeData(const uint8_t* buf, int len, bool needWrite) = 0;

  // Delivers everything, or what the destination takes before it would block. needWrite as
  // for writeData(), of every write on the way.
  void flushBuffer(bool needWrite);
  // Counts the bytes in the buffer as written and empties it.
  void emptyBuffer();
  void advanceOffset(int64_t bytes);

  int bufSize;
  int maxBufSize;
  int offset = 0;  // position of the buffer start
  int writeTimeoutMs = 30000;
  std::unique_ptr<uint8_t[]> buffer;
  uint8_t* sent;  // first byte not delivered yet
  bool blocking = true;
  bool throwErrors = true;
  bool trace = false;

 private:
  int pendingSize() const { return static_cast<int>(ptr - sent); }
  // False: the destination would block.
  bool writeSome(bool needWrite);
  void grow();
  void updateEnd();
};

}  // namespace rdr
