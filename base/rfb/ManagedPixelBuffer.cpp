#include "base/rfb/ManagedPixelBuffer.h"

#include <algorithm>
#include <cstring>

#include "base/plat/Assertion.h"
#include "base/rfb/renderOps.h"

namespace rfb {

namespace {

// The largest size_t when the product is none.
size_t bytesOf(const PixelFormat& pf, const Rect& rect) {
  if (rect.isEmpty()) return 0;
  size_t width = static_cast<unsigned>(rect.width());
  size_t height = static_cast<unsigned>(rect.height());
  size_t bytes;
  if (__builtin_mul_overflow(width, height, &bytes) ||
      __builtin_mul_overflow(bytes, size_t{pf.bpp} / 8, &bytes)) {
    return SIZE_MAX;
  }
  return bytes;
}

// Null for a size of 0.
std::unique_ptr<uint8_t[]> allocateZeroed(size_t bytes, const Rect& rect) {
  if (bytes == 0) return nullptr;
  PLAT_ASSERT_THROW(Rect(RgnRect(rect)) == rect);
  return std::make_unique<uint8_t[]>(bytes);
}

// The names are those of the assertion's text.
void requireCapacity(size_t capacity_, const PixelFormat& pf, const Rect& rect) {
  auto sizeBytes = [&] { return bytesOf(pf, rect); };
  PLAT_ASSERT_THROW(capacity_ >= sizeBytes());
}

int farEdge(int nearEdge, int size) {
  int64_t edge = int64_t{nearEdge} + size;
  return static_cast<int>(std::clamp<int64_t>(edge, INT32_MIN, INT32_MAX));
}

}  // namespace

ManagedPixelBuffer::ManagedPixelBuffer(const PixelFormat& newPF, const Rect& newRect,
                                       ColourMap* newColourMap)
    : ConfigurablePixelBuffer(newPF, newRect, newColourMap, nullptr, 0) {
  size_t bytes = sizeBytes();
  install(allocateZeroed(bytes, rect), bytes, pf, rect);
}

size_t ManagedPixelBuffer::sizeBytes() const {
  return bytesOf(pf, rect);
}

void ManagedPixelBuffer::install(std::unique_ptr<uint8_t[]> newBlock, size_t newCapacity,
                                 const PixelFormat& newPF, const Rect& newRect) {
  block = std::move(newBlock);
  capacity_ = newCapacity;
  pf = newPF;
  rect = newRect;
  data = block.get();
  stride = rect.width();
}

void ManagedPixelBuffer::setPF(const PixelFormat& newPF) {
  if (newPF == pf) return;
  size_t bytes = bytesOf(newPF, rect);
  if (bytes == 0 || capacity_ < bytes) {
    install(allocateZeroed(bytes, rect), bytes, newPF, rect);
  } else {
    pf = newPF;
    memset(data, 0, capacity_);
  }
}

void ManagedPixelBuffer::setSize(int w, int h) {
  if (w == width() && h == height()) return;
  Rect oldRect = rect;
  Rect newRect(rect.tl.x, rect.tl.y, farEdge(rect.tl.x, w), farEdge(rect.tl.y, h));
  size_t bytes = bytesOf(pf, newRect);
  std::unique_ptr<uint8_t[]> newBlock = allocateZeroed(bytes, newRect);
  std::unique_ptr<uint8_t[]> oldBlock = std::move(block);
  install(std::move(newBlock), bytes, pf, newRect);
  if (keepContents && oldBlock) imageRect(this, oldRect, oldBlock.get(), 0);
}

void ManagedPixelBuffer::setBlock(std::unique_ptr<uint8_t[]>&& newBlock, size_t newCapacity) {
  setBlock(std::move(newBlock), newCapacity, rect);
}

void ManagedPixelBuffer::setBlock(std::unique_ptr<uint8_t[]>&& newBlock, size_t newCapacity,
                                  const Rect& newRect) {
  requireCapacity(newCapacity, pf, newRect);
  install(std::move(newBlock), newCapacity, pf, newRect);
}

}  // namespace rfb
