#include "libs/rfbenc/XrlePaletteHelper.h"

#include "base/plat/Assertion.h"

namespace rfb {

int XrlePaletteHelper::lookup(uint32_t colour) const {
  PLAT_ASSERT(size <= MAX_SIZE);
  const uint8_t index = hash[findSlot(colour)];
  return index == emptySlot ? -1 : index;
}

}  // namespace rfb
