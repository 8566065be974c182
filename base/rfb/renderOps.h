#pragma once

#include <cstdint>

#include "base/rfb/Rect.h"

namespace rfb {

class WritablePixelBuffer;

// Copies size.y rows of size.x pixels; nothing for a size of no area. Strides are in
// pixels, 0 for the width. The rows must not overlap.
void copyRect(const uint8_t* src, uint8_t* dst, const Point& size, int bytesPerPixel, int srcStride,
              int dstStride);

// Writes the part of r that lies within the buffer. `pixels` is the pixel at r.tl, in
// the buffer's format; stride in pixels, 0 for the width of r.
void imageRect(WritablePixelBuffer* pb, const Rect& r, const void* pixels, int stride);

}  // namespace rfb
