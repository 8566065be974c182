#pragma once

#include "base/plat/NonCopyable.h"
#include "base/rfb/Rect.h"
#include "libs/rfbenc/XrleEncodeTile.h"

namespace rdr {
class OutStream;
}

namespace rfb {

class EncoderCallback;
class PixelBuffer;
class XrleCallback;

// The tile coder: cuts a rectangle into square tiles and writes their data.
class XrleEncoder : private plat::NonCopyable {
 public:
  // newBuffers supplies the tile memory; it is borrowed and outlives the coder. tileSize:
  // pixels, 1 to XrleEncodeTile::maxTileSize. paletteReuse, for tiles that use the palette of the
  // tile before, is not supported and must be false. resetPerRect: no rectangle begins with
  // the palette of the one before.
  XrleEncoder(EncoderCallback* newBuffers, int newTileSize, bool paletteReuse,
              bool newResetPerRect);

  // Row by row of tiles, of which it tells the hooks. A pixel size that has no tile data
  // writes nothing. r lies within the buffer.
  void writeRect(const Rect& r, rdr::OutStream* os, PixelBuffer* pb, XrleCallback* hooks);
  // Forgets the palette.
  void reset();
  // The tile at work: the last one begun.
  const Rect& currentTile() const { return tileRect; }

 private:
  EncoderCallback* buffers;
  int tileSize;
  bool resetPerRect;
  Rect tileRect;
  XrleEncodeTile tile;
};

}  // namespace rfb
