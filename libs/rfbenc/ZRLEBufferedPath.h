#pragma once

#include "base/plat/NonCopyable.h"
#include "base/rdr/MemOutStream.h"
#include "libs/rfbenc/XrleCallback.h"

namespace rdr {
class ZlibOutStream;
}

namespace rfb {

class EncoderCallback;
class PixelBuffer;
class Region;
class XrleEncoder;
struct Rect;

// What a ZRLEEncoder does off its main path, and for no page file: rectangles go through
// memory, so that their length can precede them, or so that no more of them is sent than a
// limit allows. Has the encoder's hidden parameters, too.
class ZRLEBufferedPath : private XrleCallback, private plat::NonCopyable {
 public:
  static int zlibLevel();     // ZlibLevel
  static bool miniUpdates();  // MiniUpdates

  // All of them are borrowed.
  ZRLEBufferedPath(EncoderCallback* newCallback, rdr::ZlibOutStream* newZlib,
                   XrleEncoder* newTileCoder, bool newWriteLength);

  bool writesLength() const { return writeLength; }
  // Encoder::writeRects() within MiniUpdateSize bytes.
  bool writeRects(const Region& region, PixelBuffer* pb, Region* updated);
  // Writes r, or with maxBytes above 0 as much of it as fits into that: whole rows of tiles,
  // of the first row whole tiles. Returns whether all of r was written; *written is what was.
  // With a header, os is null: the callback gives the stream.
  bool writeRect(const Rect& r, rdr::OutStream* os, PixelBuffer* pb, int maxBytes, Rect* written,
                 bool withRectHeader);
  // Whether the receiver has seen nothing of the zlib stream, as at first.
  void setFresh(bool newFresh) { fresh = newFresh; }

 private:
  void beginRow() override;
  void beginTile() override;
  bool wantTile() override { return true; }
  void endTile() override;
  void endRow() override;

  bool encode(const Rect& r, PixelBuffer* pb, int maxBytes, Rect* written);
  bool fits(const Rect& r, PixelBuffer* pb);
  void rollBack(int mark);

  EncoderCallback* callback;
  rdr::ZlibOutStream* zlib;
  XrleEncoder* tileCoder;
  bool writeLength;
  bool fresh = true;
  bool flushAfterTiles = false;  // besides rows
  rdr::MemOutStream memory;
  // Lengths of the memory stream.
  int rowMark = 0;
  int tileMark = 0;
};

}  // namespace rfb
