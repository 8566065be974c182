#pragma once

#include <cstddef>
#include <memory>

#include "base/rfb/FullFramePixelBuffer.h"

namespace rfb {

// Owns its pixels. The stride is always the width.
//
// A block is allocated only for a rectangle within 16-bit coordinates, else
// AssertionFail "Rect(RgnRect(rect)) == rect" is thrown. Where an operation throws, also
// std::bad_alloc, the buffer keeps its previous state.
class ManagedPixelBuffer : public ConfigurablePixelBuffer {
 public:
  // The pixels are zero.
  ManagedPixelBuffer(const PixelFormat& newPF, const Rect& newRect, ColourMap* newColourMap);

  // Zeroes the pixels, unless the format is the current one. Never shrinks the block.
  void setPF(const PixelFormat& newPF) override;
  // Keeps the top left corner. Zeroes the pixels, of which keepContents() then restores
  // those that both sizes have, unless the size is the current one. The new block is of
  // exactly sizeBytes().
  void setSize(int w, int h) override;
  // Off at first.
  void setKeepContents(bool keep) { keepContents = keep; }

  // Takes over a block of newCapacity bytes that holds the pixels of the rectangle, the
  // current one or a new one. A block that is too small throws AssertionFail
  // "capacity_ >= sizeBytes()" and stays the caller's.
  void setBlock(std::unique_ptr<uint8_t[]>&& newBlock, size_t newCapacity);
  void setBlock(std::unique_ptr<uint8_t[]>&& newBlock, size_t newCapacity, const Rect& newRect);

  // 0 for an empty rectangle.
  size_t sizeBytes() const;
  size_t capacity() const { return capacity_; }

 private:
  void install(std::unique_ptr<uint8_t[]> newBlock, size_t newCapacity, const PixelFormat& newPF,
               const Rect& newRect);

  bool keepContents = false;
  std::unique_ptr<uint8_t[]> block;
  size_t capacity_ = 0;  // bytes of the block
};

}  // namespace rfb
