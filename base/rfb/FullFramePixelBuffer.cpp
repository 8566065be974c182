#include "base/rfb/FullFramePixelBuffer.h"

#include <cstddef>

#include "base/plat/Exception.h"
#include "base/rfb/pixelAccess.h"

namespace rfb {

FullFramePixelBuffer::FullFramePixelBuffer(const PixelFormat& newPF, const Rect& newRect,
                                           ColourMap* newColourMap, uint8_t* newData, int newStride)
    : WritablePixelBuffer(newPF, newRect, newColourMap),
      data(newData),
      stride(newStride ? newStride : newRect.width()) {}

FullFramePixelBuffer::FullFramePixelBuffer(WritablePixelBuffer& src, const Rect& r)
    : WritablePixelBuffer(src.getPF(), Rect(), src.getColourMap()), data(nullptr), stride(0) {
  Rect part = r.intersect(src.getRect());
  rect = part.relativeTo(r.tl);
  data = src.getPixelsRW(part, &stride);
}

uint8_t* FullFramePixelBuffer::address(int x, int y) const {
  std::ptrdiff_t column = std::ptrdiff_t{x} - rect.tl.x;
  std::ptrdiff_t row = std::ptrdiff_t{y} - rect.tl.y;
  return data + (pf.bpp / 8) * (column + stride * row);
}

uint8_t* FullFramePixelBuffer::getPixelsRW(const Rect& r, int* newStride) {
  if (newStride) *newStride = stride;
  if (r.isEmpty()) return nullptr;
  if (!rect.encloses(r)) {
    throw plat::AssertionFail("rect.encloses(r)", __FILE__, __LINE__)
        .appendDetail("getPixelsRW out of bounds: %s outside %s", RectText(r).text,
                      RectText(rect).text);
  }
  return address(r.tl.x, r.tl.y);
}

uint32_t FullFramePixelBuffer::getPixel(int x, int y) const {
  return loadPixel(address(x, y), pf.bpp);
}

void FullFramePixelBuffer::setPixel(int x, int y, uint32_t pixel) {
  storePixel(address(x, y), pf.bpp, pixel);
}

}  // namespace rfb
