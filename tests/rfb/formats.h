#pragma once

#include <string>

#include "base/rfb/PixelFormat.h"

namespace formats {

inline std::string text(const rfb::PixelFormat& pf) {
  char buffer[128] = "";
  pf.print(buffer);
  return buffer;
}

inline rfb::PixelFormat bigEndian(rfb::PixelFormat pf) {
  pf.bigEndian = true;
  return pf;
}

// A channel's value as one of another maximum. A maximum is odd or 0, so that there are no ties.
inline uint32_t nearest(uint64_t value, uint32_t max, uint32_t newMax) {
  return max ? static_cast<uint32_t>((2 * value * newMax + max) / (2 * max)) : 0;
}

}  // namespace formats
