#include "base/rfb/transInitTempl.h"

#include <array>
#include <cstddef>

#include "base/plat/Assertion.h"
#include "base/rfb/ColourMap.h"
#include "base/rfb/byteOrderOps.h"
#include "base/rfb/pixelAccess.h"

namespace rfb {

namespace {

// Steps are in bytes.
template <class RowFn>
void eachRow(const uint8_t* in, std::ptrdiff_t inStep, uint8_t* out, std::ptrdiff_t outStep,
             int height, RowFn row) {
  for (int y = 0; y < height; ++y) row(in + y * inStep, out + y * outStep);
}

std::ptrdiff_t bytesOf(int pixels, int bytesPerPixel) {
  return std::ptrdiff_t{pixels} * bytesPerPixel;
}

template <int In, int Out>
void translateSingle(const void* table, const PixelFormat&, const uint8_t* in, int inStride,
                     const PixelFormat&, uint8_t* out, int outStride, int width, int height) {
  const uint8_t* entries = static_cast<const uint8_t*>(table);
  auto row = [&](const uint8_t* from, uint8_t* to) {
    for (int x = 0; x < width; ++x, from += In, to += Out) {
      storeBytes<Out>(to, loadBytes<Out>(entries + loadBytes<In>(from) * Out));
    }
  };
  eachRow(in, bytesOf(inStride, In), out, bytesOf(outStride, Out), height, row);
}

template <int In, int Out>
void translateChannels(const void* table, const PixelFormat& inPF, const uint8_t* in, int inStride,
                       const PixelFormat&, uint8_t* out, int outStride, int width, int height) {
  size_t redMax = inPF.redMax;
  size_t greenMax = inPF.greenMax;
  size_t blueMax = inPF.blueMax;
  const uint8_t* red = static_cast<const uint8_t*>(table);
  const uint8_t* green = red + (redMax + 1) * Out;
  const uint8_t* blue = green + (greenMax + 1) * Out;
  // The shift of a channel that does not exist may be the width of the pixel.
  int redShift = redMax ? inPF.redShift : 0;
  int greenShift = greenMax ? inPF.greenShift : 0;
  int blueShift = blueMax ? inPF.blueShift : 0;
  auto row = [&](const uint8_t* from, uint8_t* to) {
    for (int x = 0; x < width; ++x, from += In, to += Out) {
      uint32_t pixel = loadBytes<In>(from);
      storeBytes<Out>(to, loadBytes<Out>(red + (pixel >> redShift & redMax) * Out) +
                              loadBytes<Out>(green + (pixel >> greenShift & greenMax) * Out) +
                              loadBytes<Out>(blue + (pixel >> blueShift & blueMax) * Out));
    }
  };
  eachRow(in, bytesOf(inStride, In), out, bytesOf(outStride, Out), height, row);
}

void translateColours(const void* table, const PixelFormat& inPF, const uint8_t* in, int inStride,
                      const PixelFormat& outPF, uint8_t* out, int outStride, int width,
                      int height) {
  const ColourPath& path = *static_cast<const ColourPath*>(table);
  int inBytes = inPF.bpp / 8;
  int outBytes = outPF.bpp / 8;
  // Searching a colour map is slow, and neighbours are often the same.
  uint32_t known = 0;
  uint32_t converted = path.convert(known);
  auto row = [&](const uint8_t* from, uint8_t* to) {
    for (int x = 0; x < width; ++x, from += inBytes, to += outBytes) {
      uint32_t pixel = loadPixel(from, inPF.bpp);
      if (pixel != known) {
        converted = path.convert(pixel);
        known = pixel;
      }
      storePixel(to, outPF.bpp, converted);
    }
  };
  eachRow(in, bytesOf(inStride, inBytes), out, bytesOf(outStride, outBytes), height, row);
}

template <int In, int Out, ByteOrderOp (*chooseOp)()>
void translateBytes(const void*, const PixelFormat&, const uint8_t* in, int inStride,
                    const PixelFormat&, uint8_t* out, int outStride, int width, int height) {
  if (width <= 0) return;
  const ByteOrderOp convert = chooseOp();
  auto row = [&](const uint8_t* from, uint8_t* to) {
    convert(from, to, static_cast<size_t>(width));
  };
  eachRow(in, bytesOf(inStride, In), out, bytesOf(outStride, Out), height, row);
}

// By output bytes - 1; null where there is no function.
using Row = std::array<TransFn, 4>;
// By source bytes - 1.
using SizeTable = std::array<Row, 4>;

template <int In>
constexpr Row kSingle{translateSingle<In, 1>, translateSingle<In, 2>, translateSingle<In, 3>,
                      translateSingle<In, 4>};
template <int In>
constexpr Row kChannels{translateChannels<In, 1>, translateChannels<In, 2>,
                        translateChannels<In, 3>, translateChannels<In, 4>};
constexpr Row kColours{translateColours, translateColours, translateColours, translateColours};
constexpr Row kNone{};
constexpr Row kShrink{nullptr, nullptr, translateBytes<4, 3, shrink32To24>};
constexpr Row kExpand{nullptr, nullptr, nullptr, translateBytes<3, 4, expand24To32>};
constexpr Row kSwap{nullptr, nullptr, nullptr, translateBytes<4, 4, swapRedBlue32>};

// In the order of TransKind.
constexpr SizeTable kFunctions[] = {
    {kSingle<1>, kSingle<2>, kNone, kNone}, {kNone, kChannels<2>, kChannels<3>, kChannels<4>},
    {kNone, kColours, kColours, kColours},  {kNone, kNone, kNone, kShrink},
    {kNone, kNone, kExpand, kNone},         {kNone, kNone, kNone, kSwap},
};

struct Channel {
  unsigned max;
  int shift;
};

struct Channels {
  explicit Channels(const PixelFormat& pf)
      : all{{pf.redMax, pf.redShift}, {pf.greenMax, pf.greenShift}, {pf.blueMax, pf.blueShift}} {}

  Channel all[3];
};

// entryOf(channel, value): the part of the output pixel that a value of channel 0 (red) to 2
// makes.
template <class EntryOf>
TransTable buildChannels(const PixelFormat& inPF, const PixelFormat& outPF, EntryOf entryOf) {
  PLAT_ASSERT_THROW(inPF.isNativeEndian());
  size_t entrySize = outPF.bpp / 8;
  size_t count = size_t{inPF.redMax} + inPF.greenMax + inPF.blueMax + 3;
  auto entries = std::make_shared<uint8_t[]>(count * entrySize);
  uint8_t* to = entries.get();
  Channels in(inPF);
  for (int channel = 0; channel < 3; ++channel) {
    for (uint32_t value = 0; value <= in.all[channel].max; ++value, to += entrySize) {
      storePixel(to, outPF.bpp, outPF.storedPixel(entryOf(channel, value)));
    }
  }
  return entries;
}

}  // namespace

TransFn transFunction(TransKind kind, int inBpp, int outBpp) {
  return kFunctions[static_cast<size_t>(kind)][static_cast<size_t>(inBpp / 8 - 1)]
                   [static_cast<size_t>(outBpp / 8 - 1)];
}

Colour ColourPath::colourOf(uint32_t inPixel) const {
  Colour colour;
  inPF.rgbFromPixel(inPixel, &colour, inCM);
  if (limit) limit->rgbFromPixel(limit->pixelFromRGB(colour, nullptr), &colour, nullptr);
  return colour;
}

uint32_t ColourPath::convert(uint32_t inPixel) const {
  if (!inPF.trueColour || inPF.bpp <= 16) {
    uint32_t significant = (1u << inPF.depth) - 1;
    inPixel = inPF.storedPixel(inPF.storedPixel(inPixel) & significant);
  }
  return outPF.storedPixel(outPF.pixelFromRGB(colourOf(inPixel), outCM));
}

TransTable initSingleTable(const ColourPath& path) {
  uint32_t count = 1u << path.inPF.bpp;
  size_t entrySize = path.outPF.bpp / 8;
  auto entries = std::make_shared<uint8_t[]>(count * entrySize);
  for (uint32_t pixel = 0; pixel < count; ++pixel) {
    storePixel(entries.get() + pixel * entrySize, path.outPF.bpp, path.convert(pixel));
  }
  return entries;
}

TransTable initChannelTables(const ColourPath& path) {
  Channels in(path.inPF);
  Channels out(path.outPF);
  Channels limit(path.limit.value_or(PixelFormat()));
  return buildChannels(path.inPF, path.outPF, [&](int channel, uint32_t value) {
    unsigned max = in.all[channel].max;
    if (path.limit) {
      value = scaled(value, max, limit.all[channel].max);
      max = limit.all[channel].max;
    }
    const auto [outMax, outShift] = out.all[channel];
    return placed(scaled(value, max, outMax), outShift, outMax);
  });
}

TransTable initCubeTables(const ColourPath& path) {
  const ColourMap* orthCM = path.outCM;
  PLAT_ASSERT_THROW(orthCM->isOrthogonal());
  Channels in(path.inPF);
  return buildChannels(path.inPF, path.outPF, [&](int channel, uint32_t value) {
    const auto [max, shift] = in.all[channel];
    Colour colour = path.colourOf(placed(value, shift, max));
    Colour component;
    if (channel == 0) component.red = colour.red;
    if (channel == 1) component.green = colour.green;
    if (channel == 2) component.blue = colour.blue;
    return static_cast<uint32_t>(orthCM->lookup(component));
  });
}

TransTable initColours(const ColourPath& path) {
  return std::make_shared<ColourPath>(path);
}

}  // namespace rfb
