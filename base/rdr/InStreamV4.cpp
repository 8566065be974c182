#include "base/rdr/InStreamV4.h"

namespace rdr {

void InStreamV4::readHeader(int* size, bool* last, bool) {
  const uint16_t header = source().readU16();
  *size = header & 0x7fff;
  *last = (header & 0x8000) != 0;
}

}  // namespace rdr
