#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace rfb {

static_assert(std::endian::native == std::endian::little);

// Channels: a max is 2^n - 1, and a shift is in range only where its max is not 0.

// The bits of a channel's value in a pixel.
inline uint32_t placed(uint32_t value, int shift, unsigned max) {
  return max ? value << shift : 0;
}

// To the nearest. The product of two 16-bit maxima fits.
inline uint32_t scaled(uint32_t value, unsigned max, unsigned newMax) {
  return max ? (value * newMax + max / 2) / max : 0;
}

// Pixels of 1 to 4 bytes at any address, least significant byte first.

template <int Bytes>
uint32_t loadBytes(const uint8_t* from) {
  // One copy of three bytes would go through memory and stall there.
  if constexpr (Bytes == 3) return loadBytes<2>(from) | uint32_t{from[2]} << 16;
  uint32_t pixel = 0;
  memcpy(&pixel, from, Bytes);
  return pixel;
}

template <int Bytes>
void storeBytes(uint8_t* to, uint32_t pixel) {
  memcpy(to, &pixel, Bytes);
}

// 0 for another size than 8, 16, 24 and 32 bits.
inline uint32_t loadPixel(const uint8_t* from, int bpp) {
  switch (bpp) {
    case 8:
      return loadBytes<1>(from);
    case 16:
      return loadBytes<2>(from);
    case 24:
      return loadBytes<3>(from);
    case 32:
      return loadBytes<4>(from);
    default:
      return 0;
  }
}

// Nothing for another size than 8, 16, 24 and 32 bits.
inline void storePixel(uint8_t* to, int bpp, uint32_t pixel) {
  switch (bpp) {
    case 8:
      return storeBytes<1>(to, pixel);
    case 16:
      return storeBytes<2>(to, pixel);
    case 24:
      return storeBytes<3>(to, pixel);
    case 32:
      return storeBytes<4>(to, pixel);
    default:
      return;
  }
}

}  // namespace rfb
