#include "libs/rfbenc/ZRLEEncoder.h"

#include "base/plat/Assertion.h"
#include "libs/rfb/EncoderCallback.h"

namespace rfb {

[[maybe_unused]] static const bool registered =
    Encoder::registerFactory(ZRLEEncoder::zrleEncoding, ZRLEEncoder::create);

static constexpr int defaultTileSize = 64;
// The tiles of most pages. Deflating takes longer than all else, and whoever draws the page
// has to wait for it while there are rows to come.
static constexpr int gatheredBytes = 1 << 20;
static constexpr int deflatedAtOnce = 1 << 14;

ZRLEEncoder::ZRLEEncoder(EncoderCallback* newCallback, int newEncoding, bool writeLength,
                         int tileSize, bool paletteReuse, bool resetPerRect)
    : Encoder(newCallback, newEncoding),
      zlib(nullptr, 0, ZRLEBufferedPath::zlibLevel()),
      tiles(&zlib, gatheredBytes),
      tileCoder(newCallback, tileSize, paletteReuse, resetPerRect),
      bufferedPath(newCallback, &zlib, &tileCoder, writeLength) {}

ZRLEEncoder::~ZRLEEncoder() = default;

std::unique_ptr<Encoder> ZRLEEncoder::create(EncoderCallback* callback, int encoding) {
  return std::make_unique<ZRLEEncoder>(callback, encoding, callback->protocolVersion() == 3,
                                       defaultTileSize, false, true);
}

bool ZRLEEncoder::writeRects(const Region& region, PixelBuffer* pb, Region* updated) {
  return ZRLEBufferedPath::miniUpdates() ? bufferedPath.writeRects(region, pb, updated)
                                         : Encoder::writeRects(region, pb, updated);
}

bool ZRLEEncoder::writeRect(const Rect& r, PixelBuffer* pb) {
  return encode(r, nullptr, pb, true);
}

bool ZRLEEncoder::writeRectData(const Rect& r, rdr::OutStream* os, PixelBuffer* pb) {
  return encode(r, os, pb, false);
}

void ZRLEEncoder::reset() {
  tiles.drop();
  zlib.reset();
  tileCoder.reset();
  bufferedPath.setFresh(true);
}

bool ZRLEEncoder::deflateSome() {
  if (tiles.isEmpty()) return false;
  tiles.passOn(deflatedAtOnce);
  return true;
}

bool ZRLEEncoder::encode(const Rect& r, rdr::OutStream* os, PixelBuffer* pb, bool withRectHeader) {
  PLAT_ASSERT_THROW(!os == withRectHeader);
  if (bufferedPath.writesLength()) {
    Rect written;
    return bufferedPath.writeRect(r, os, pb, 0, &written, withRectHeader);
  }
  if (withRectHeader) os = callback->startRect(r, zrleEncoding);
  const int before = zlib.length();
  zlib.setUnderlying(os);
  tileCoder.writeRect(r, &tiles, pb, this);
  tiles.passOn();
  zlib.flush(false);
  if (withRectHeader) callback->endRect(false);
  // An empty rectangle, or one whose pixels have no tile data, makes no output, not even the
  // stream's header.
  if (zlib.length() != before) bufferedPath.setFresh(false);
  return true;
}

}  // namespace rfb
