#include "base/rdr/OutStreamV4.h"

namespace rdr {

void OutStreamV4::writeHeader(int length, bool lastFrame, bool) {
  writeU16(static_cast<uint16_t>((lastFrame ? 0x8000 : 0) | length));
}

}  // namespace rdr
