#include "base/rfb/PixelBuffer.h"

#include "base/rfb/renderOps.h"

namespace rfb {

void PixelBuffer::getImage(void* imageBuf, const Rect& r, int outStride) {
  int inStride = 0;
  const uint8_t* in = getPixelsR(r, &inStride);
  if (r.isEmpty()) return;
  copyRect(in, static_cast<uint8_t*>(imageBuf), {r.width(), r.height()}, pf.bpp / 8, inStride,
           outStride);
}

void PixelBuffer::grabRegion(const Region&) {}

}  // namespace rfb
