#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "base/rfb/PixelFormat.h"

namespace rfb {

class ColourMap;

// Converts width x height pixels. `table` is what the builder of the function's kind made
// for the two formats. Strides are in pixels. The pixels must not overlap.
using TransFn = void (*)(const void* table, const PixelFormat& inPF, const uint8_t* in,
                         int inStride, const PixelFormat& outPF, uint8_t* out, int outStride,
                         int width, int height);
using TransTable = std::shared_ptr<const void>;

enum class TransKind {
  singleTable,    // 8 and 16 bpp: one entry for each pixel value
  channelTables,  // 16 bpp and more: the sum of one entry for each channel
  colours,        // 16 bpp and more: colour by colour, without a table
  shrink32To24,
  expand24To32,
  swapRedBlue,  // 32 to 32 bpp
};

// Null where the kind does not have the pair of sizes.
TransFn transFunction(TransKind kind, int inBpp, int outBpp);

// How a pixel of one format becomes one of another.
struct ColourPath {
  PixelFormat inPF;
  const ColourMap* inCM;  // borrowed, may be null, as is outCM
  PixelFormat outPF;
  const ColourMap* outCM;
  std::optional<PixelFormat> limit;  // little-endian; colours are reduced to it first

  Colour colourOf(uint32_t inPixel) const;
  // Both as loaded from memory. Of a small pixel, and of an index, the bits beyond the
  // depth do not count.
  uint32_t convert(uint32_t inPixel) const;
};

// The builders. Tables hold entries of the output's size in the output's byte order.

// Precondition: inPF has at most 16 bpp.
TransTable initSingleTable(const ColourPath& path);
// Throws AssertionFail "inPF.isNativeEndian()", as does initCubeTables. Rounds once,
// straight from the source's channel to the output's.
TransTable initChannelTables(const ColourPath& path);
// Channel tables into the colour map path.outCM, which must be a cube: throws
// AssertionFail "orthCM->isOrthogonal()".
TransTable initCubeTables(const ColourPath& path);
// For the kind colours. The colour maps stay borrowed while the result is used.
TransTable initColours(const ColourPath& path);

}  // namespace rfb
