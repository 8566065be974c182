#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace rfb {

// Converts a row of pixels without a table. Reads and writes the bytes of the row only; `in`
// and `out` may have any address and must not overlap.
using ByteOrderOp = void (*)(const uint8_t* in, uint8_t* out, size_t pixels);

// The fastest conversions that this processor has. Every raster page goes through the first,
// so that it alone has more than a plain version.
ByteOrderOp expand24To32();   // in bytes 2, 1, 0, then a zero byte
ByteOrderOp shrink32To24();   // in bytes 2, 1, 0
ByteOrderOp swapRedBlue32();  // in bytes 2, 1, 0, 3

struct Expand24To32 {
  const char* name;
  ByteOrderOp convert;
};
// All that this processor has: the plain one first, the fastest last.
std::vector<Expand24To32> usableExpand24To32();

}  // namespace rfb
