#include "base/rfb/renderOps.h"

#include <cstddef>
#include <cstring>

#include "base/rfb/PixelBuffer.h"

namespace rfb {

void copyRect(const uint8_t* src, uint8_t* dst, const Point& size, int bytesPerPixel, int srcStride,
              int dstStride) {
  if (size.x <= 0 || size.y <= 0) return;
  std::ptrdiff_t rowBytes = std::ptrdiff_t{size.x} * bytesPerPixel;
  std::ptrdiff_t srcStep = srcStride ? std::ptrdiff_t{srcStride} * bytesPerPixel : rowBytes;
  std::ptrdiff_t dstStep = dstStride ? std::ptrdiff_t{dstStride} * bytesPerPixel : rowBytes;
  for (int y = 0; y < size.y; ++y) {
    memcpy(dst + y * dstStep, src + y * srcStep, static_cast<size_t>(rowBytes));
  }
}

void imageRect(WritablePixelBuffer* pb, const Rect& r, const void* pixels, int stride) {
  Rect part = r.intersect(pb->getRect());
  if (part.isEmpty()) return;
  int bytesPerPixel = pb->getPF().bpp / 8;
  int srcStride = stride ? stride : r.width();
  Rect inside = part.relativeTo(r.tl);
  const uint8_t* src = static_cast<const uint8_t*>(pixels) +
                       (std::ptrdiff_t{inside.tl.y} * srcStride + inside.tl.x) * bytesPerPixel;
  int dstStride = 0;
  uint8_t* dst = pb->getPixelsRW(part, &dstStride);
  copyRect(src, dst, {part.width(), part.height()}, bytesPerPixel, srcStride, dstStride);
}

}  // namespace rfb
