#pragma once

#include <cstdint>
#include <memory>

#include "base/rdr/OutStream.h"

namespace rdr {

// Gathers what is written, so that a slow stream below is worked when there is nothing better
// to do, or when there is no more room. The memory is not touched before it is needed.
class GatheringOutStream : public OutStream {
 public:
  // newUnderlying is borrowed. size: bytes gathered, and the largest item.
  GatheringOutStream(OutStream* newUnderlying, int size);

  int length() const override;
  // Passes on, and flushes the stream below.
  void flush() override;
  OutStream* innermost() override { return underlying->innermost(); }
  int freeSpace() const override { return underlying->freeSpace(); }
  bool shutdown() override { return underlying->shutdown(); }
  int overrun(int itemSize, int nItems) override;

  // Passes on what is gathered, or of that up to `most` bytes, first in, first out. They are gone
  // when the stream below throws.
  void passOn() { passOn(static_cast<int>(ptr - first)); }
  void passOn(int most);
  bool isEmpty() const { return first == ptr; }
  // Forgets what is gathered, which counts as written.
  void drop();

 private:
  OutStream* underlying;
  int offset = 0;  // position of the buffer start
  std::unique_ptr<uint8_t[]> buffer;
  uint8_t* first;  // of what is not passed on
};

}  // namespace rdr
