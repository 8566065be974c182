#pragma once

#include "base/plat/NonCopyable.h"
#include "base/rfb/ColourMap.h"
#include "base/rfb/PixelFormat.h"
#include "base/rfb/Rect.h"

namespace rfb {

class ImageGetter {
 public:
  virtual ~ImageGetter() = default;

  // Copies the pixels of r, row by row, into imageBuf. outStride: pixels, 0 for the
  // width of r.
  virtual void getImage(void* imageBuf, const Rect& r, int outStride) = 0;
};

// A rectangle of pixels to read from. Strides are in pixels.
class PixelBuffer : public ImageGetter, private plat::NonCopyable {
 public:
  void getImage(void* imageBuf, const Rect& r, int outStride) override;
  virtual ColourMap* getColourMap() const { return colourMap; }
  // The pixel at r.tl, valid until the next call, and the stride of the rows. For an
  // empty r there is nothing to read, and the stride may be left as it was.
  virtual const uint8_t* getPixelsR(const Rect& r, int* stride) = 0;
  // Brings the area up to date before it is read.
  virtual void grabRegion(const Region& region);
  // Unused; keeps its place in the order of the virtual operations.
  virtual bool reservedQuery() { return false; }

  const PixelFormat& getPF() const { return pf; }
  const Rect& getRect() const { return rect; }
  int width() const { return rect.width(); }
  int height() const { return rect.height(); }
  // Grabs the whole buffer, as far as 16-bit coordinates reach.
  void grabAll() { grabRegion(Region(static_cast<RgnRect>(rect))); }

 protected:
  PixelBuffer() = default;
  // The colour map is borrowed and may be null.
  PixelBuffer(const PixelFormat& newPF, const Rect& newRect, ColourMap* newColourMap)
      : pf(newPF), rect(newRect), colourMap(newColourMap) {}

  PixelFormat pf;
  Rect rect;
  ColourMap* colourMap = nullptr;
};

class WritablePixelBuffer : public PixelBuffer {
 public:
  const uint8_t* getPixelsR(const Rect& r, int* stride) override { return getPixelsRW(r, stride); }
  // As getPixelsR; changes become part of the buffer.
  virtual uint8_t* getPixelsRW(const Rect& r, int* stride) = 0;

 protected:
  using PixelBuffer::PixelBuffer;
};

}  // namespace rfb
