#pragma once

#include <memory>

#include "base/rdr/GatheringOutStream.h"
#include "base/rdr/ZlibOutStream.h"
#include "libs/rfb/Encoder.h"
#include "libs/rfbenc/XrleCallback.h"
#include "libs/rfbenc/XrleEncoder.h"
#include "libs/rfbenc/ZRLEBufferedPath.h"

namespace rfb {

// The ZRLE encoding (RFC 6143 section 7.7.6). All rectangles share one zlib stream, each
// ending at a sync-flush boundary. With the parameter MiniUpdates, writeRects() writes no
// more than MiniUpdateSize bytes and holds the rest back, whole tile rows or tiles.
class ZRLEEncoder : public Encoder, private XrleCallback {
 public:
  static constexpr int zrleEncoding = 16;

  // writeLength: a length of 4 bytes, big-endian, precedes the data of each rectangle, as
  // the RFC has it; generations of the protocol that frame their messages do without.
  // The rest is for the tile coder. With the length, or with MiniUpdates, a raw tile of 3-byte
  // CPIXELs must fit into the buffer of the zlib stream, 16384 bytes: up to 73 x 73 pixels. A
  // larger one throws plat::Exception from the writing.
  ZRLEEncoder(EncoderCallback* newCallback, int newEncoding, bool writeLength, int tileSize,
              bool paletteReuse, bool resetPerRect);
  ~ZRLEEncoder() override;
  // Decides about the length by the callback's protocol version.
  static std::unique_ptr<Encoder> create(EncoderCallback* callback, int encoding);

  // Throws plat::Exception "MiniUpdateSize is too small" when not even one tile fits.
  bool writeRects(const Region& region, PixelBuffer* pb, Region* updated) override;
  bool writeRect(const Rect& r, PixelBuffer* pb) override;
  bool writeRectData(const Rect& r, rdr::OutStream* os, PixelBuffer* pb) override;
  void reset() override;
  // Deflates some of the tiles that are gathered, in well below a millisecond, for the writing
  // of a rectangle that waits for its pixels. Returns whether there were any.
  bool deflateSome();

 private:
  bool wantTile() override { return true; }

  bool encode(const Rect& r, rdr::OutStream* os, PixelBuffer* pb, bool withRectHeader);

  rdr::ZlibOutStream zlib;
  rdr::GatheringOutStream tiles;  // in front of it
  XrleEncoder tileCoder;
  ZRLEBufferedPath bufferedPath;
};

}  // namespace rfb
