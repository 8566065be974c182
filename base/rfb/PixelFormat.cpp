#include "base/rfb/PixelFormat.h"

#include <bit>
#include <tuple>

#include "base/plat/NumUtil.h"
#include "base/plat/SString.h"
#include "base/plat/String.h"
#include "base/rdr/InStream.h"
#include "base/rdr/OutStream.h"
#include "base/rfb/ColourMap.h"
#include "base/rfb/pixelAccess.h"

namespace rfb {

namespace {

// Largest value of n bits; no max of a channel when n is too large for one.
int mask(int n) {
  return n <= 16 ? (1 << n) - 1 : -1;
}

bool channelFits(int shift, unsigned max, int bpp) {
  return shift + std::popcount(max) <= bpp;
}

int componentOf(uint32_t pixel, int shift, unsigned max) {
  return max ? static_cast<int>(scaled(pixel >> shift & max, max, 255)) : 0;
}

uint32_t placedComponent(int value, int shift, unsigned max) {
  return placed(scaled(static_cast<uint32_t>(value), 255, max), shift, max);
}

// The description for red above green above blue ("rgb"), or the reverse ("bgr"), with alpha
// at neither end or at one. False for any other layout.
bool printOrdered(char (&buffer)[128], const char* order, const PixelFormat& pf, int topShift,
                  int topMax, int lowShift, int lowMax) {
  int depth = pf.depth;
  int green = pf.greenShift;
  int alpha = pf.alphaShift;
  if (lowShift >= green || lowMax != mask(green - lowShift)) return false;
  if (green >= topShift || pf.greenMax != mask(topShift - green)) return false;
  bool topReachesDepth = depth > topShift && topMax == mask(depth - topShift);
  if (topReachesDepth && pf.alphaMax == 0 && lowShift == 0) {
    plat::sstrAppendPrintf(buffer, sizeof buffer, " %s%d%d%d", order, depth - topShift,
                           topShift - green, green);
    return true;
  }
  if (pf.alphaMax == 0) return false;
  if (topReachesDepth && alpha == 0 && lowShift != 0 && pf.alphaMax == mask(lowShift)) {
    plat::sstrAppendPrintf(buffer, sizeof buffer, " %sa%d%d%d%d", order, depth - topShift,
                           topShift - green, green - lowShift, lowShift);
    return true;
  }
  if (lowShift == 0 && alpha > topShift && topMax == mask(alpha - topShift) && depth > alpha &&
      pf.alphaMax == mask(depth - alpha)) {
    plat::sstrAppendPrintf(buffer, sizeof buffer, " a%s%d%d%d%d", order, depth - alpha,
                           alpha - topShift, topShift - green, green);
    return true;
  }
  return false;
}

}  // namespace

PixelFormat::PixelFormat() : PixelFormat(8, 8, false, true, 7, 7, 3, 0, 3, 6) {}

PixelFormat::PixelFormat(int newBpp, int newDepth, bool newBigEndian, bool newTrueColour,
                         int newRedMax, int newGreenMax, int newBlueMax, int newRedShift,
                         int newGreenShift, int newBlueShift, int newAlphaShift, int newAlphaMax)
    : bpp(static_cast<uint8_t>(newBpp)),
      depth(static_cast<uint8_t>(newDepth)),
      bigEndian(newBigEndian),
      trueColour(newTrueColour),
      redMax(static_cast<uint16_t>(newRedMax)),
      greenMax(static_cast<uint16_t>(newGreenMax)),
      blueMax(static_cast<uint16_t>(newBlueMax)),
      alphaMax(static_cast<uint16_t>(newAlphaMax)),
      redShift(static_cast<uint8_t>(newRedShift)),
      greenShift(static_cast<uint8_t>(newGreenShift)),
      blueShift(static_cast<uint8_t>(newBlueShift)),
      alphaShift(static_cast<uint8_t>(newAlphaShift)) {}

const PixelFormat& PixelFormat::rgb888() {
  static const PixelFormat pf(32, 24, false, true, 255, 255, 255, 16, 8, 0);
  return pf;
}

const PixelFormat& PixelFormat::bgr888() {
  static const PixelFormat pf(32, 24, false, true, 255, 255, 255, 0, 8, 16);
  return pf;
}

const PixelFormat& PixelFormat::rgb565() {
  static const PixelFormat pf(16, 16, false, true, 31, 63, 31, 11, 5, 0);
  return pf;
}

const PixelFormat& PixelFormat::rgb555() {
  static const PixelFormat pf(16, 15, false, true, 31, 31, 31, 10, 5, 0);
  return pf;
}

const PixelFormat& PixelFormat::rgb222() {
  static const PixelFormat pf(8, 6, false, true, 3, 3, 3, 4, 2, 0);
  return pf;
}

const PixelFormat& PixelFormat::rgb111() {
  static const PixelFormat pf(8, 3, false, true, 1, 1, 1, 2, 1, 0);
  return pf;
}

const PixelFormat& PixelFormat::colourMap8() {
  static const PixelFormat pf(8, 8, false, false, 0, 0, 0, 0, 0, 0);
  return pf;
}

const PixelFormat& PixelFormat::argb8888() {
  static const PixelFormat pf(32, 32, false, true, 255, 255, 255, 16, 8, 0, 24, 255);
  return pf;
}

const PixelFormat& PixelFormat::nativeABGR8888() {
  static const PixelFormat pf(32, 32, false, true, 255, 255, 255, 0, 8, 16, 24, 255);
  return pf;
}

bool PixelFormat::isValid() const {
  if (bpp != 8 && bpp != 16 && bpp != 24 && bpp != 32) return false;
  if (depth == 0 || depth > bpp) return false;
  if (!trueColour) return depth <= 8;
  return channelFits(redShift, redMax, bpp) && channelFits(greenShift, greenMax, bpp) &&
         channelFits(blueShift, blueMax, bpp) && channelFits(alphaShift, alphaMax, bpp);
}

bool PixelFormat::operator==(const PixelFormat& other) const {
  if (bpp != other.bpp || depth != other.depth || trueColour != other.trueColour) return false;
  if (bigEndian != other.bigEndian && bpp != 8) return false;
  if (!trueColour) return true;
  return std::tie(redMax, greenMax, blueMax, alphaMax, redShift, greenShift, blueShift,
                  alphaShift) == std::tie(other.redMax, other.greenMax, other.blueMax,
                                          other.alphaMax, other.redShift, other.greenShift,
                                          other.blueShift, other.alphaShift);
}

bool PixelFormat::hasByteChannels() const {
  return (redMax | greenMax | blueMax | alphaMax) < 256 &&
         (redShift | greenShift | blueShift | alphaShift) % 8 == 0;
}

bool PixelFormat::makeNativeEndian() {
  if (!bigEndian) return true;
  if (bpp != 8) {
    if (!hasByteChannels()) return false;
    // The shift of a channel without bits may lie behind the last byte; it stays.
    auto mirrored = [this](uint8_t shift) {
      return shift + 8 <= bpp ? static_cast<uint8_t>(bpp - 8 - shift) : shift;
    };
    redShift = mirrored(redShift);
    greenShift = mirrored(greenShift);
    blueShift = mirrored(blueShift);
    if (alphaMax) alphaShift = mirrored(alphaShift);
  }
  bigEndian = false;
  return true;
}

void PixelFormat::rgbFromPixel(uint32_t pixel, Colour* c, const ColourMap* cm) const {
  if (bigEndian && bpp == 32) pixel = __builtin_bswap32(pixel);
  if (bigEndian && bpp == 16) pixel = __builtin_bswap16(static_cast<uint16_t>(pixel));
  if (!trueColour) {
    if (cm) cm->getColour(static_cast<int>(pixel), c);
    return;
  }
  *c = {componentOf(pixel, redShift, redMax), componentOf(pixel, greenShift, greenMax),
        componentOf(pixel, blueShift, blueMax)};
}

uint32_t PixelFormat::pixelFromRGB(const Colour& c, const ColourMap* cm) const {
  if (!trueColour) return cm ? static_cast<uint32_t>(cm->lookup(c)) : 0;
  return placedComponent(c.red, redShift, redMax) | placedComponent(c.green, greenShift, greenMax) |
         placedComponent(c.blue, blueShift, blueMax);
}

uint32_t PixelFormat::storedPixel(uint32_t value) const {
  return isNativeEndian() ? value : __builtin_bswap32(value) >> (32 - bpp);
}

void PixelFormat::read(rdr::InStream& is) {
  PixelFormat pf;
  pf.bpp = is.readU8();
  pf.depth = is.readU8();
  pf.bigEndian = is.readU8() != 0;
  pf.trueColour = is.readU8() != 0;
  pf.redMax = is.readU16();
  pf.greenMax = is.readU16();
  pf.blueMax = is.readU16();
  pf.redShift = is.readU8();
  pf.greenShift = is.readU8();
  pf.blueShift = is.readU8();
  pf.alphaShift = is.readU8();
  pf.alphaMax = is.readU16();
  // These three bytes are padding to a peer that knows no alpha.
  int bits = std::popcount(pf.redMax) + std::popcount(pf.greenMax) + std::popcount(pf.blueMax) +
             std::popcount(pf.alphaMax);
  if (bits != pf.depth || pf.alphaMax == 0) {
    pf.alphaMax = 0;
    pf.alphaShift = 0;
  }
  *this = pf;
}

void PixelFormat::write(rdr::OutStream& os) const {
  os.writeU8(bpp);
  os.writeU8(depth);
  os.writeU8(bigEndian);
  os.writeU8(trueColour);
  os.writeU16(redMax);
  os.writeU16(greenMax);
  os.writeU16(blueMax);
  os.writeU8(redShift);
  os.writeU8(greenShift);
  os.writeU8(blueShift);
  os.writeU8(alphaShift);
  os.writeU16(alphaMax);
}

bool PixelFormat::parse(const char* name) {
  if (plat::startsWithNoCase(name, "pal")) {
    trueColour = false;
    const char* digits = name + 3;
    int bits;
    if (!plat::strToInt(&bits, &digits, 10) || *digits || bits < 1 || bits > 8) return false;
    depth = static_cast<uint8_t>(bits);
    bpp = 8;
    bigEndian = false;
    return true;
  }
  trueColour = true;
  bool redFirst = plat::startsWithNoCase(name, "rgb");
  if (plat::strLen(name) != 6 || (!redFirst && !plat::startsWithNoCase(name, "bgr"))) return false;
  int widths[3];
  for (int i = 0; i < 3; ++i) {
    widths[i] = name[3 + i] - '0';
    if (widths[i] < 1 || widths[i] > 9) return false;
  }
  auto [top, green, low] = widths;
  depth = static_cast<uint8_t>(top + green + low);
  bpp = depth <= 8 ? 8 : depth <= 16 ? 16 : 32;
  bigEndian = false;
  greenMax = static_cast<uint16_t>(mask(green));
  greenShift = static_cast<uint8_t>(low);
  (redFirst ? redMax : blueMax) = static_cast<uint16_t>(mask(top));
  (redFirst ? redShift : blueShift) = static_cast<uint8_t>(green + low);
  (redFirst ? blueMax : redMax) = static_cast<uint16_t>(mask(low));
  (redFirst ? blueShift : redShift) = 0;
  return true;
}

void PixelFormat::print(char (&buffer)[128]) const {
  plat::sstrAppendPrintf(buffer, sizeof buffer, "depth %d (%d bpp)", depth, bpp);
  if (bpp != 8) {
    plat::sstrAppendPrintf(buffer, sizeof buffer, " %s-endian", bigEndian ? "big" : "little");
  }
  if (!trueColour) {
    plat::sstrAppend(buffer, " colour-map");
    return;
  }
  if (printOrdered(buffer, "rgb", *this, redShift, redMax, blueShift, blueMax)) return;
  if (printOrdered(buffer, "bgr", *this, blueShift, blueMax, redShift, redMax)) return;
  plat::sstrAppendPrintf(buffer, sizeof buffer, " rgb max %d,%d,%d shift %d,%d,%d", redMax,
                         greenMax, blueMax, redShift, greenShift, blueShift);
  if (alphaMax) {
    plat::sstrAppendPrintf(buffer, sizeof buffer, " alpha max %d shift %d", alphaMax, alphaShift);
  }
}

}  // namespace rfb
