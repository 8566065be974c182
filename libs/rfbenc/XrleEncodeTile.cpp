#include "libs/rfbenc/XrleEncodeTile.h"

#include <cstring>

#include "base/plat/Assertion.h"
#include "base/rdr/OutStream.h"
#include "base/rfb/PixelFormat.h"
#include "base/rfb/pixelAccess.h"
#include "libs/rfbenc/XrlePack24.h"

namespace rfb {

namespace {

// RFC 6143 section 7.7.6.
constexpr int rawTile = 0;
constexpr int solidTile = 1;
constexpr int maxPackedColours = 16;
constexpr int plainRunsTile = 128;  // plus the number of colours: with a palette
constexpr int longRun = 0x80;       // on a palette index: a run length follows

// size: bytes of a CPIXEL; first: the byte of the pixel at which it begins.
template <class PixelType, int size, int first>
struct Traits {
  using Pixel = PixelType;
  static constexpr int cpixelSize = size;
  static constexpr int firstByte = first;
};

using Pixel8 = Traits<uint8_t, 1, 0>;
using Pixel16 = Traits<uint16_t, 2, 0>;
using Pixel32 = Traits<uint32_t, 4, 0>;
using Leading24 = Traits<uint32_t, 3, 0>;
using Trailing24 = Traits<uint32_t, 3, 1>;

// Calls body with the traits of the variant.
template <class Body>
void withVariant(XrleVariant variant, Body body) {
  switch (variant) {
    case XrleVariant::pixel8:
      return body(Pixel8());
    case XrleVariant::pixel16:
      return body(Pixel16());
    case XrleVariant::pixel32:
      return body(Pixel32());
    case XrleVariant::leading24:
      return body(Leading24());
    case XrleVariant::trailing24:
      return body(Trailing24());
  }
}

template <class Pixel>
uint32_t pixelAt(const uint8_t* pixels, int index) {
  return loadBytes<sizeof(Pixel)>(pixels + size_t{sizeof(Pixel)} * static_cast<size_t>(index));
}

template <class Pixel>
RunCounts scanRuns(const uint8_t* pixels, int count, uint64_t* ends) {
  const RunScanOps& ops = runScanOps();
  if constexpr (sizeof(Pixel) == 1) return ops.scan8(pixels, count, ends);
  if constexpr (sizeof(Pixel) == 2) return ops.scan16(pixels, count, ends);
  return ops.scan32(pixels, count, ends);
}

int bitsPerIndex(int colours) {
  return colours == 2 ? 1 : colours <= 4 ? 2 : 4;
}

// By estimates of the bytes: they leave out the padding of packed rows and the further
// bytes of long run lengths. A tie keeps what comes first here.
int chooseSubencoding(int pixels, const RunCounts& counts, int colours, int cpixelSize) {
  if (colours == 1) return solidTile;
  int best = pixels * cpixelSize;
  int choice = rawTile;
  const auto offer = [&](int cost, int subencoding) {
    if (cost >= best) return;
    best = cost;
    choice = subencoding;
  };
  offer((counts.singles + counts.runs) * (cpixelSize + 1), plainRunsTile);
  if (colours > XrlePaletteHelper::MAX_SIZE) return choice;
  const int paletteSize = colours * cpixelSize;
  offer(counts.singles + 2 * counts.runs + paletteSize, plainRunsTile + colours);
  if (colours > maxPackedColours) return choice;
  offer(bitsPerIndex(colours) * pixels / 8 + paletteSize, colours);
  return choice;
}

template <class Put>
void putRunLength(int length, Put put) {
  int rest = length - 1;
  for (; rest > 254; rest -= 255) put(uint8_t{255});
  put(static_cast<uint8_t>(rest));
}

template <class Variant>
void writeCPixel(rdr::OutStream* os, uint32_t pixel) {
  for (int i = 0; i < Variant::cpixelSize; ++i) {
    os->writeU8(static_cast<uint8_t>(pixel >> 8 * (Variant::firstByte + i)));
  }
}

// Fills are made in blocks, which may reach this far behind the last pixel.
constexpr int fillBlock = 16;

void fillIndexes(uint8_t* to, int length, int index) {
  for (; length > 0; length -= fillBlock, to += fillBlock) memset(to, index, fillBlock);
}

// Most significant bit first; the unused bits of the last byte are zero. `out` may be
// the start of `in` or lie before it. Returns the end of the output.
template <int Bits>
uint8_t* packRow(const uint8_t* in, int count, uint8_t* out) {
  constexpr int perByte = 8 / Bits;
  static_assert(perByte == 2 || perByte == 4);
  // Multiplying moves the index at byte i of a word to its place within byte perByte - 1;
  // no two meet on the way there.
  constexpr uint64_t gather = perByte == 4 ? 0x40100401 : 0x1001;
  const auto packed = [](uint64_t word) {
    return static_cast<uint8_t>(word * gather >> 8 * (perByte - 1));
  };
  for (; count >= perByte; count -= perByte, in += perByte) *out++ = packed(loadBytes<perByte>(in));
  if (count > 0) {
    uint32_t word = 0;
    memcpy(&word, in, static_cast<size_t>(count));
    *out++ = packed(word);
  }
  return out;
}

// One bit for each pixel of a tile of two colours: its index, which changes behind each
// end of a run.
void markIndexes(const uint64_t* ends, int count, uint64_t* bits) {
  uint64_t before = 0;  // all ones when the pixel before the word leaves index 1 behind it
  for (; count > 0; count -= 64) {
    const uint64_t end = *ends++;
    uint64_t word = end << 1;
    for (int shift = 1; shift < 64; shift *= 2) word ^= word << shift;
    word ^= before;
    *bits++ = word;
    before = uint64_t{0} - ((word ^ end) >> 63);
  }
}

uint32_t reverseBitsInBytes(uint32_t word) {
  word = (word & 0x55555555) << 1 | (word >> 1 & 0x55555555);
  word = (word & 0x33333333) << 2 | (word >> 2 & 0x33333333);
  return (word & 0x0f0f0f0f) << 4 | (word >> 4 & 0x0f0f0f0f);
}

// As packRow<1>, for the pixels from bit `at` on. Reads up to 8 bytes behind the last
// pixel's and may write 3 bytes too many.
uint8_t* packBits(const uint64_t* bits, size_t at, int count, uint8_t* out) {
  for (; count > 0; count -= 32, at += 32) {
    uint64_t word;
    memcpy(&word, reinterpret_cast<const uint8_t*>(bits) + at / 8, sizeof word);
    uint32_t pixels = static_cast<uint32_t>(word >> at % 8);
    if (count < 32) pixels &= (uint32_t{1} << count) - 1;
    storeBytes<4>(out, reverseBitsInBytes(pixels));
    out += count < 32 ? (count + 7) / 8 : 4;
  }
  return out;
}

}  // namespace

std::optional<XrleVariant> xrleVariant(const PixelFormat& pf) {
  if (pf.bpp == 8) return XrleVariant::pixel8;
  if (pf.bpp == 16) return XrleVariant::pixel16;
  if (pf.bpp != 32) return std::nullopt;
  const uint32_t mask = placed(pf.redMax, pf.redShift, pf.redMax) |
                        placed(pf.greenMax, pf.greenShift, pf.greenMax) |
                        placed(pf.blueMax, pf.blueShift, pf.blueMax) |
                        placed(pf.alphaMax, pf.alphaShift, pf.alphaMax);
  const bool highest = (mask >> 24) != 0;
  const bool lowest = (mask & 0xff) != 0;
  if (highest && lowest) return XrleVariant::pixel32;
  const bool lastByteUnused = pf.bigEndian ? !lowest : !highest;
  return lastByteUnused ? XrleVariant::leading24 : XrleVariant::trailing24;
}

XrleEncodeTile::XrleEncodeTile(int tileSize) {
  PLAT_ASSERT(tileSize >= 1 && tileSize <= maxTileSize);
  const size_t most = static_cast<size_t>(tileSize) * static_cast<size_t>(tileSize);
  runEnds.resize((most + 63) / 64);
  indexBits.resize(runEnds.size() + 1);
  paletteRuns.resize(most + 1);
  indexes.resize(most + fillBlock);
}

void XrleEncodeTile::analyse(XrleVariant newVariant, uint8_t* newPixels, int newWidth,
                             int newHeight) {
  variant = newVariant;
  pixels = newPixels;
  width = newWidth;
  height = newHeight;
  withVariant(variant, [this](auto traits) { analyseAs<decltype(traits)>(); });
}

void XrleEncodeTile::write(rdr::OutStream* os) {
  withVariant(variant, [this, os](auto traits) { writeAs<decltype(traits)>(os); });
}

template <class Variant>
void XrleEncodeTile::analyseAs() {
  using Pixel = typename Variant::Pixel;
  constexpr int size = sizeof(Pixel);
  // Ends the last run at the end of the tile.
  storeBytes<size>(pixels + size_t{size} * static_cast<size_t>(count()),
                   ~pixelAt<Pixel>(pixels, count() - 1));
  const RunCounts counts = scanRuns<Pixel>(pixels, count(), runEnds.data());
  collectColours<Pixel>();
  subencoding = chooseSubencoding(count(), counts, palette.size, Variant::cpixelSize);
}

template <class Pixel>
void XrleEncodeTile::collectColours() {
  palette.clear();
  uint8_t* out = paletteRuns.data();
  forEachRun(runEnds.data(), count(), [&](int start, int length) {
    if (palette.size == XrlePaletteHelper::MAX_SIZE) {
      // A full palette does not take another run, even one of a colour that it has.
      ++palette.size;
      return false;
    }
    const int index = palette.findOrInsert(pixelAt<Pixel>(pixels, start));
    // Without a branch on the length, which nothing predicts: one byte or two.
    out[0] = static_cast<uint8_t>(index | (length > 2 ? longRun : 0));
    out[1] = static_cast<uint8_t>(length == 2 ? index : length - 1);
    if (length <= 255) {
      out += length > 1 ? 2 : 1;
    } else {
      ++out;
      putRunLength(length, [&](uint8_t byte) { *out++ = byte; });
    }
    return true;
  });
  paletteRunsSize = static_cast<int>(out - paletteRuns.data());
}

template <class Variant>
void XrleEncodeTile::writeAs(rdr::OutStream* os) {
  os->writeU8(static_cast<uint8_t>(subencoding));
  if (subencoding == rawTile) return writeRaw<Variant>(os);
  if (subencoding == plainRunsTile) return writePlainRuns<Variant>(os);
  writePalette<Variant>(os);
  if (subencoding > plainRunsTile) return os->writeBytes(paletteRuns.data(), paletteRunsSize);
  if (subencoding != solidTile) writePackedIndexes<typename Variant::Pixel>(os);
}

template <class Variant>
void XrleEncodeTile::writeRaw(rdr::OutStream* os) const {
  const int size = Variant::cpixelSize * count();
  if constexpr (Variant::cpixelSize == sizeof(typename Variant::Pixel)) {
    os->writeBytes(pixels, size);
  } else {
    if (os->nFree() < size) os->overrun(size, 1);
    PLAT_ASSERT(os->nFree() >= size);
    const XrlePack24Ops& ops = xrlePack24Ops();
    const auto pack = Variant::firstByte == 0 ? ops.packLeading : ops.packTrailing;
    pack(pixels, os->getPtr(), count());
    os->setPtr(os->getPtr() + size);
  }
}

template <class Variant>
void XrleEncodeTile::writePalette(rdr::OutStream* os) const {
  for (int i = 0; i < palette.size; ++i) writeCPixel<Variant>(os, palette.colours[i]);
}

template <class Variant>
void XrleEncodeTile::writePlainRuns(rdr::OutStream* os) const {
  forEachRun(runEnds.data(), count(), [&](int start, int length) {
    writeCPixel<Variant>(os, pixelAt<typename Variant::Pixel>(pixels, start));
    putRunLength(length, [os](uint8_t byte) { os->writeU8(byte); });
    return true;
  });
}

template <class Pixel>
void XrleEncodeTile::writePackedIndexes(rdr::OutStream* os) {
  const XrlePaletteHelper* np = &palette;
  PLAT_ASSERT(np->size < 17);
  uint8_t* first = indexes.data();
  uint8_t* out = first;
  if (np->size == 2) {
    markIndexes(runEnds.data(), count(), indexBits.data());
    for (int i = 0; i < count(); i += width) {
      out = packBits(indexBits.data(), static_cast<size_t>(i), width, out);
    }
  } else {
    forEachRun(runEnds.data(), count(), [&](int start, int length) {
      fillIndexes(first + start, length, np->lookup(pixelAt<Pixel>(pixels, start)));
      return true;
    });
    const auto pack = bitsPerIndex(np->size) == 2 ? packRow<2> : packRow<4>;
    for (int i = 0; i < count(); i += width) out = pack(first + i, width, out);
  }
  os->writeBytes(first, static_cast<int>(out - first));
}

}  // namespace rfb
