#include "libs/rfbenc/XrleEncoder.h"

#include <algorithm>

#include "base/plat/Assertion.h"
#include "base/rfb/PixelBuffer.h"
#include "libs/rfb/EncoderCallback.h"
#include "libs/rfbenc/XrleCallback.h"

namespace rfb {

namespace {

// The end of the tile that starts at `start`, without going beyond an int.
int tileEnd(int start, int limit, int tileSize) {
  return static_cast<int>(std::min(int64_t{start} + tileSize, int64_t{limit}));
}

}  // namespace

XrleEncoder::XrleEncoder(EncoderCallback* newBuffers, int newTileSize, bool paletteReuse,
                         bool newResetPerRect)
    : buffers(newBuffers), tileSize(newTileSize), resetPerRect(newResetPerRect), tile(newTileSize) {
  PLAT_ASSERT(!paletteReuse);
}

void XrleEncoder::writeRect(const Rect& r, rdr::OutStream* os, PixelBuffer* pb,
                            XrleCallback* hooks) {
  if (resetPerRect) reset();
  const PixelFormat& pf = pb->getPF();
  uint8_t* pixels = buffers->getBuffer(pf.bpp / 8, tileSize * tileSize + 1, 0, nullptr);
  const std::optional<XrleVariant> variant = xrleVariant(pf);
  if (!variant) return;
  for (int y = r.tl.y; y < r.br.y; y = tileRect.br.y) {
    hooks->beginRow();
    tileRect = Rect(r.tl.x, y, r.tl.x, tileEnd(y, r.br.y, tileSize));
    for (int x = r.tl.x; x < r.br.x; x = tileRect.br.x) {
      tileRect.tl.x = x;
      tileRect.br.x = tileEnd(x, r.br.x, tileSize);
      pb->getImage(pixels, tileRect, 0);
      hooks->beginTile();
      tile.analyse(*variant, pixels, tileRect.width(), tileRect.height());
      if (hooks->wantTile()) tile.write(os);
      hooks->endTile();
    }
    hooks->endRow();
  }
}

void XrleEncoder::reset() {
  tile.clearPalette();
}

}  // namespace rfb
