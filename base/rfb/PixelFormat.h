#pragma once

#include <cstdint>

#include "base/rfb/Rect.h"

namespace rdr {
class InStream;
class OutStream;
}  // namespace rdr

namespace rfb {

class ColourMap;

// How one pixel lies in memory: the PIXEL_FORMAT of RFC 6143 section 7.4 with an
// alpha channel. A max is 2^n - 1 for a channel of n bits, a shift the position of
// its least significant bit. Native byte order is little-endian; a pixel of 24 bpp
// is three bytes, least significant first.
//
// The fields may come from a peer: nothing but isValid(), comparison, print() and
// the stream operations may be used on a format that is not valid.
struct PixelFormat {
  PixelFormat();  // depth 8 (8 bpp) bgr233
  PixelFormat(int newBpp, int newDepth, bool newBigEndian, bool newTrueColour, int newRedMax,
              int newGreenMax, int newBlueMax, int newRedShift, int newGreenShift, int newBlueShift,
              int newAlphaShift = 0, int newAlphaMax = 0);

  // All are little-endian, and thus native.
  static const PixelFormat& rgb888();
  static const PixelFormat& bgr888();
  static const PixelFormat& rgb565();
  static const PixelFormat& rgb555();
  static const PixelFormat& rgb222();
  static const PixelFormat& rgb111();
  static const PixelFormat& colourMap8();
  static const PixelFormat& argb8888();
  static const PixelFormat& nativeRGB888() { return rgb888(); }
  static const PixelFormat& nativeARGB8888() { return argb8888(); }
  static const PixelFormat& nativeBGR888() { return bgr888(); }
  static const PixelFormat& nativeABGR8888();

  bool isValid() const;
  bool isNativeEndian() const { return bpp == 8 || !bigEndian; }
  // Same pixels for the same colours: ignores the byte order of 8 bpp, and the
  // channels of colour-map formats.
  bool operator==(const PixelFormat& other) const;
  bool hasByteChannels() const;
  // Becomes the little-endian format of the same bytes. False, with nothing changed,
  // when there is none because a channel is no whole byte.
  bool makeNativeEndian();

  // The pixel is what a little-endian load of its bytes gives. Alpha is ignored. A
  // colour-map format without a map leaves *c.
  void rgbFromPixel(uint32_t pixel, Colour* c, const ColourMap* cm) const;
  // In value order: whoever stores a pixel of a big-endian format swaps its bytes.
  // 0 for a colour-map format without a map. Alpha bits are 0.
  uint32_t pixelFromRGB(const Colour& c, const ColourMap* cm) const;
  // What a little-endian store of bpp bits writes for the value.
  uint32_t storedPixel(uint32_t value) const;

  // 16 bytes. An alpha channel that depth does not account for is dropped. When the
  // stream throws, this format stays as it was.
  void read(rdr::InStream& is);
  void write(rdr::OutStream& os) const;

  // "rgb565", "bgr233" (widths from the most significant field down, regardless of
  // case) or "pal8". On false, trueColour may have changed.
  bool parse(const char* name);
  // Appends the description to the text in the buffer, cut to fit.
  void print(char (&buffer)[128]) const;

  uint8_t bpp;    // 8, 16, 24 or 32
  uint8_t depth;  // significant bits
  bool bigEndian;
  bool trueColour;  // false: a pixel is an index into a colour map
  uint16_t redMax;
  uint16_t greenMax;
  uint16_t blueMax;
  uint16_t alphaMax;  // 0: no alpha channel
  uint8_t redShift;
  uint8_t greenShift;
  uint8_t blueShift;
  uint8_t alphaShift;
};
static_assert(sizeof(PixelFormat) == 16);

}  // namespace rfb
