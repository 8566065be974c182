#include "libs/rfbenc/ZRLEBufferedPath.h"

#include <algorithm>
#include <climits>

#include "base/plat/Assertion.h"
#include "base/plat/ConfigParameter.h"
#include "base/rdr/Exceptions.h"
#include "base/rdr/NullOutStream.h"
#include "base/rfb/PixelBuffer.h"
#include "libs/rfb/EncoderCallback.h"
#include "libs/rfbenc/ZRLEEncoder.h"

namespace rfb {

static plat::BoolParameter miniUpdatesParameter(
    "MiniUpdates", "Send only small updates to avoid problems on slow links", false, true);
static plat::IntParameter miniUpdateSize("MiniUpdateSize", "Size in bytes to restrict mini updates",
                                         16384, true, nullptr, 0, INT_MAX);
static plat::IntParameter zlibLevelParameter("ZlibLevel",
                                             "Zlib compression level (-1=auto, 0=lowest)", -1, true,
                                             nullptr, -1, 9);

static constexpr int memoryRoom = 65536;

int ZRLEBufferedPath::zlibLevel() {
  return zlibLevelParameter;
}

bool ZRLEBufferedPath::miniUpdates() {
  return miniUpdatesParameter;
}

ZRLEBufferedPath::ZRLEBufferedPath(EncoderCallback* newCallback, rdr::ZlibOutStream* newZlib,
                                   XrleEncoder* newTileCoder, bool newWriteLength)
    : callback(newCallback),
      zlib(newZlib),
      tileCoder(newTileCoder),
      writeLength(newWriteLength),
      memory(0) {}

bool ZRLEBufferedPath::writeRects(const Region& region, PixelBuffer* pb, Region* updated) {
  const int budget = miniUpdateSize;
  const unsigned start = static_cast<unsigned>(callback->bytesWritten());
  bool complete = true;
  const auto [count, boxes] = callback->getRects(region);
  for (int i = 0; i < count; ++i) {
    const Region box(boxes[i]);
    const unsigned used = static_cast<unsigned>(callback->bytesWritten()) - start;
    if (!complete || used >= static_cast<unsigned>(budget)) {
      callback->rectDeferred();
      updated->subtract(*updated, box);
      continue;
    }
    Rect written;
    complete =
        writeRect(Rect(boxes[i]), nullptr, pb, budget - static_cast<int>(used), &written, true);
    if (complete) continue;
    if (written.isEmpty() && i == 0) throw plat::Exception("MiniUpdateSize is too small");
    updated->subtract(*updated, box);
    updated->unite(*updated, Region(static_cast<RgnRect>(written)));
  }
  return complete;
}

bool ZRLEBufferedPath::writeRect(const Rect& r, rdr::OutStream* os, PixelBuffer* pb, int maxBytes,
                                 Rect* written, bool withRectHeader) {
  *written = r;
  const bool whole = encode(r, pb, maxBytes, written);
  if (!whole && written->isEmpty()) {
    PLAT_ASSERT_THROW(withRectHeader);
    callback->rectDeferred();
    return false;
  }
  if (withRectHeader) os = callback->startRect(*written, ZRLEEncoder::zrleEncoding);
  if (writeLength) os->writeU32(static_cast<uint32_t>(memory.length()));
  os->writeBytes(memory.data(), memory.length());
  if (withRectHeader) callback->endRect(false);
  if (memory.length() > 0) fresh = false;
  return whole;
}

void ZRLEBufferedPath::beginRow() {
  rowMark = memory.length();
}

void ZRLEBufferedPath::beginTile() {
  tileMark = memory.length();
}

void ZRLEBufferedPath::endTile() {
  if (flushAfterTiles) zlib->flush(false);
}

void ZRLEBufferedPath::endRow() {
  zlib->flush(false);
}

// Encodes r into the memory stream; *written is r at first. Returns false when it did not
// fit: *written is then the part that is there, or empty when there is none.
bool ZRLEBufferedPath::encode(const Rect& r, PixelBuffer* pb, int maxBytes, Rect* written) {
  memory.truncate(0);
  memory.setMaxSize(maxBytes);
  const int room = maxBytes > 0 ? std::min(maxBytes, memoryRoom) : memoryRoom;
  if (memory.nFree() < room) memory.overrun(room, 1);
  zlib->setUnderlying(&memory);
  flushAfterTiles = false;
  if (fits(r, pb)) return true;

  rollBack(rowMark);
  const Rect failedTile = tileCoder->currentTile();
  if (failedTile.tl.y > r.tl.y) {
    written->br.y = failedTile.tl.y;
    return false;
  }
  written->br.y = failedTile.br.y;
  flushAfterTiles = true;
  if (fits(*written, pb)) return false;

  rollBack(tileMark);
  if (tileCoder->currentTile().tl.x > r.tl.x) {
    written->br.x = std::min(r.br.x, tileCoder->currentTile().tl.x);
  } else {
    *written = Rect();
  }
  return false;
}

// False: the memory stream is full.
bool ZRLEBufferedPath::fits(const Rect& r, PixelBuffer* pb) {
  try {
    tileCoder->writeRect(r, zlib, pb, this);
  } catch (const rdr::OutStreamFull&) {
    return false;
  }
  return true;
}

void ZRLEBufferedPath::rollBack(int mark) {
  memory.truncate(mark);
  zlib->reset();
  if (fresh && mark == 0) return;
  // The receiver is in the middle of the old stream. The header of the new one must not
  // reach it; behind a full flush there is no reference to what it has not seen, and it
  // does not notice the change.
  rdr::NullOutStream sink;
  zlib->setUnderlying(&sink);
  zlib->writeU8(0);
  zlib->flush(true);
  zlib->setUnderlying(&memory);
}

}  // namespace rfb
