#include "base/rfb/TransPixelBuffer.h"

#include "base/plat/Assertion.h"
#include "base/rfb/ManagedPixelBuffer.h"

namespace rfb {

namespace {

void checkFormats(const PixelFormat& inPF, const PixelFormat& pf) {
  PLAT_ASSERT_THROW(inPF.isValid());
  PLAT_ASSERT_THROW(pf.isValid());
}

// The little-endian format of pixels whose bytes are those of inPF in reverse order. None when
// a channel is no whole byte.
std::optional<PixelFormat> mirrored(const PixelFormat& inPF) {
  PixelFormat format = inPF;
  format.bigEndian = !format.bigEndian;
  if (!format.makeNativeEndian()) return std::nullopt;
  return format;
}

bool isShrink32To24(const PixelFormat& inPF, const PixelFormat& pf) {
  if (inPF.bpp != 32 || pf.bpp != 24) return false;
  std::optional<PixelFormat> format = mirrored(inPF);
  if (!format) return false;
  format->redShift -= 8;
  format->greenShift -= 8;
  format->blueShift -= 8;
  if (format->alphaMax) format->alphaShift -= 8;
  format->bpp = 24;
  return *format == pf;
}

bool isExpand24To32(const PixelFormat& inPF, const PixelFormat& pf) {
  if (inPF.bpp != 24 || pf.bpp != 32) return false;
  std::optional<PixelFormat> format = mirrored(inPF);
  if (!format) return false;
  format->bpp = 32;
  return *format == pf;
}

bool isRedBlueSwap(const PixelFormat& inPF, const PixelFormat& pf) {
  if (inPF.bpp != 32 || pf.bpp != 32 || !inPF.hasByteChannels()) return false;
  PixelFormat format = inPF;
  if (!format.makeNativeEndian()) return false;
  for (uint8_t* shift :
       {&format.redShift, &format.greenShift, &format.blueShift, &format.alphaShift}) {
    *shift = static_cast<uint8_t>(24 - ((*shift + 8) & 31));
  }
  if (!format.alphaMax) format.alphaShift = pf.alphaShift;
  return format == pf;
}

// Entries per side of the largest cube that a colour map of `depth` bits holds.
int cubeSide(int depth) {
  int entries = 1 << depth;
  if (entries <= 2) return 0;
  int side = 1;
  while ((side + 1) * (side + 1) * (side + 1) <= entries) ++side;
  return side;
}

}  // namespace

TransPixelBuffer::TransPixelBuffer(bool newPerChannel16) : perChannel16(newPerChannel16) {}

TransPixelBuffer::~TransPixelBuffer() = default;

void TransPixelBuffer::setUp(PixelBuffer& from, const PixelFormat& to, ColourMap* outCM,
                             const std::optional<PixelFormat>& newLimit) {
  checkFormats(from.getPF(), to);
  ColourPath path{from.getPF(), from.getColourMap(), to, outCM, newLimit};
  translation = to.trueColour ? toTrueColour(path) : toColourMap(path);
  sourcePF = from.getPF();
  sourceColourMap = from.getColourMap();
}

TransPixelBuffer::Translation TransPixelBuffer::toTrueColour(const ColourPath& path) const {
  const PixelFormat& in = path.inPF;
  const PixelFormat& out = path.outPF;
  auto function = [&](TransKind kind) { return transFunction(kind, in.bpp, out.bpp); };

  if (!path.limit || path.limit->depth >= out.depth) {
    if (in == out) return {};
    if (isShrink32To24(in, out)) return {function(TransKind::shrink32To24), nullptr, nullptr};
    if (isExpand24To32(in, out)) return {function(TransKind::expand24To32), nullptr, nullptr};
    if (isRedBlueSwap(in, out)) return {function(TransKind::swapRedBlue), nullptr, nullptr};
  }
  if (!in.trueColour && in.bpp > 16) {
    return {function(TransKind::colours), initColours(path), nullptr};
  }
  if (!in.trueColour || in.bpp == 8 || (in.bpp == 16 && !perChannel16)) {
    return {function(TransKind::singleTable), initSingleTable(path), nullptr};
  }
  return {function(TransKind::channelTables), initChannelTables(path), nullptr};
}

TransPixelBuffer::Translation TransPixelBuffer::toColourMap(ColourPath path) {
  const PixelFormat& in = path.inPF;
  const PixelFormat& out = path.outPF;
  auto function = [&](TransKind kind) { return transFunction(kind, in.bpp, out.bpp); };

  std::unique_ptr<ColorCubeOrth> cube;
  if (in.trueColour) {
    int side = cubeSide(out.depth);
    cube = std::make_unique<ColorCubeOrth>(side, side, side);
    if (!path.outCM) path.outCM = cube.get();
  } else if (in.bpp == out.bpp && !path.outCM) {
    return {};
  }
  if (in.bpp <= 16) {
    return {function(TransKind::singleTable), initSingleTable(path), std::move(cube)};
  }
  if (in.trueColour && path.outCM->isOrthogonal()) {
    return {function(TransKind::channelTables), initCubeTables(path), std::move(cube)};
  }
  return {function(TransKind::colours), initColours(path), std::move(cube)};
}

void TransPixelBuffer::setSource(PixelBuffer* newSource) {
  if (newSource) {
    const PixelFormat& newPF = newSource->getPF();
    ColourMap* newColourMap = newSource->getColourMap();
    bool sameColours = newPF.trueColour || newColourMap == sourceColourMap;
    if (!source || !(newPF == sourcePF) || !sameColours) {
      setUp(*newSource, pf, colourMap, limit);
    }
  }
  source = newSource;
  rect = source ? source->getRect() : Rect();
}

void TransPixelBuffer::setPF(const PixelFormat& newPF) {
  if (source && !(newPF == pf)) setUp(*source, newPF, colourMap, limit);
  pf = newPF;
}

void TransPixelBuffer::setColourMap(ColourMap* newColourMap) {
  if (source) setUp(*source, pf, newColourMap, limit);
  colourMap = newColourMap;
}

void TransPixelBuffer::setLimitingFormat(const PixelFormat* newLimit) {
  std::optional<PixelFormat> reduced;
  if (newLimit) {
    PLAT_ASSERT_THROW(newLimit->isValid() && newLimit->trueColour);
    reduced = *newLimit;
    reduced->bigEndian = false;  // it is passed through as a value and never stored
  }
  if (source) setUp(*source, pf, colourMap, reduced);
  limit = reduced;
}

void TransPixelBuffer::translate(const Rect& r, uint8_t* out, int outStride) {
  int inStride = 0;
  const uint8_t* in = source->getPixelsR(r, &inStride);
  translation.function(translation.table.get(), sourcePF, in, inStride, pf, out, outStride,
                       r.width(), r.height());
}

void TransPixelBuffer::getImage(void* imageBuf, const Rect& r, int outStride) {
  PLAT_ASSERT(source);
  if (!translation.function) return source->getImage(imageBuf, r, outStride);
  if (r.isEmpty()) return;
  translate(r, static_cast<uint8_t*>(imageBuf), outStride ? outStride : r.width());
}

const uint8_t* TransPixelBuffer::getPixelsR(const Rect& r, int* stride) {
  PLAT_ASSERT(source);
  if (!translation.function) return source->getPixelsR(r, stride);
  if (r.isEmpty()) return nullptr;
  if (!conversion) conversion = std::make_unique<ManagedPixelBuffer>(pf, Rect(), nullptr);
  conversion->setPF(pf);
  conversion->setSize(r.width(), r.height());
  int width = 0;
  uint8_t* out = conversion->getPixelsRW(conversion->getRect(), &width);
  translate(r, out, width);
  if (stride) *stride = width;
  return out;
}

void TransPixelBuffer::grabRegion(const Region& region) {
  if (source) source->grabRegion(region);
}

ColourMap* TransPixelBuffer::getColourMap() const {
  return colourMap ? colourMap : translation.cube.get();
}

}  // namespace rfb
