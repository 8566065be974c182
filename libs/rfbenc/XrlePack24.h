#pragma once

#include <cstdint>
#include <vector>

namespace rfb {

// Packs pixels of 4 bytes into 3 bytes each. Reads and writes the bytes of the pixels
// only; `in` and `out` may have any address and must not overlap.
struct XrlePack24Ops {
  const char* name;
  void (*packLeading)(const uint8_t* in, uint8_t* out, int pixels);   // bytes 0, 1, 2
  void (*packTrailing)(const uint8_t* in, uint8_t* out, int pixels);  // bytes 1, 2, 3
};

// The fastest that this processor has.
const XrlePack24Ops& xrlePack24Ops();

// All that this processor has: the plain one first, the fastest last.
std::vector<const XrlePack24Ops*> usableXrlePack24Ops();

}  // namespace rfb
