#pragma once

#include "base/rfb/PixelBuffer.h"

namespace rfb {

// The pixels lie in one block of memory, which this class only borrows.
class FullFramePixelBuffer : public WritablePixelBuffer {
 public:
  // newData is the pixel at rect.tl; a stride of 0 means the width.
  FullFramePixelBuffer(const PixelFormat& newPF, const Rect& newRect, ColourMap* newColourMap,
                       uint8_t* newData, int newStride);
  // A view of the part of r that lies within src, seen from r.tl. Valid for as long as
  // what src's getPixelsRW returned.
  FullFramePixelBuffer(WritablePixelBuffer& src, const Rect& r);

  // Null for an empty r. An r that reaches beyond the buffer throws AssertionFail
  // "rect.encloses(r)".
  uint8_t* getPixelsRW(const Rect& r, int* newStride) override;

  // One pixel, as a little-endian load of its bytes. Precondition: it lies within the
  // buffer. Other sizes than 8, 16, 24 and 32 bpp read as 0 and write nothing.
  uint32_t getPixel(int x, int y) const;
  void setPixel(int x, int y, uint32_t pixel);

 protected:
  uint8_t* address(int x, int y) const;

  uint8_t* data;  // the pixel at rect.tl
  int stride;     // pixels
};

// Its format, size and colour map can be changed.
class ConfigurablePixelBuffer : public FullFramePixelBuffer {
 public:
  virtual void setPF(const PixelFormat& newPF) = 0;
  virtual void setSize(int w, int h) = 0;
  virtual void setColourMap(ColourMap* newColourMap) { colourMap = newColourMap; }

 protected:
  using FullFramePixelBuffer::FullFramePixelBuffer;
};

}  // namespace rfb
