#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace rfb {

// Reorders the bytes of a row of pixels: the conversions that need no table. Each reads
// and writes the bytes of the row only; `in` and `out` may have any address and must not
// overlap.
struct ByteOrderOps {
  const char* name;
  // in bytes 2, 1, 0, then a zero byte
  void (*expand24To32)(const uint8_t* in, uint8_t* out, size_t pixels);
  // in bytes 2, 1, 0
  void (*shrink32To24)(const uint8_t* in, uint8_t* out, size_t pixels);
  // in bytes 2, 1, 0, 3
  void (*swapRedBlue32)(const uint8_t* in, uint8_t* out, size_t pixels);
};

// The fastest that this processor has.
const ByteOrderOps& byteOrderOps();

// All that this processor has: the plain one first, the fastest last.
std::vector<const ByteOrderOps*> usableByteOrderOps();

}  // namespace rfb
