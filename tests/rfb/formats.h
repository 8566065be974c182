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

}  // namespace formats
