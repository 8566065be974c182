#include "libs/rfbenc/ZRLEEncoder.h"

#include <algorithm>
#include <climits>

#include "base/plat/ConfigParameter.h"
#include "base/rdr/Exceptions.h"
#include "base/rdr/NullOutStream.h"
#include "base/rfb/PixelBuffer.h"
#include "libs/rfb/EncoderCallback.h"

namespace rfb {

static plat::BoolParameter miniUpdates("MiniUpdates",
                                       "Send only small updates to avoid problems on slow links",
                                       false, true);
static plat::IntParameter miniUpdateSize("MiniUpdateSize", "Size in bytes to restrict mini updates",
                                         16384, true, nullptr, 0, INT_MAX);
static plat::IntParameter zlibLevel("ZlibLevel", "Zlib compression level (-1=auto, 0=lowest)", -1,
                                    true, nullptr, -1, 9);

[[maybe_unused]] static const bool registered =
    Encoder::registerFactory(ZRLEEncoder::zrleEncoding, ZRLEEncoder::create);

namespace {

constexpr int memoryRoom = 65536;
constexpr int defaultTileSize = 64;

}  // namespace

ZRLEEncoder::ZRLEEncoder(EncoderCallback* newCallback, int newEncoding, bool newWriteLength,
                         int tileSize, bool paletteReuse, bool resetPerRect)
    : Encoder(newCallback, newEncoding),
      zlib(nullptr, 0, zlibLevel),
      tileCoder(newCallback, this, tileSize, paletteReuse, resetPerRect),
      writeLength(newWriteLength) {}

ZRLEEncoder::~ZRLEEncoder() = default;

std::unique_ptr<Encoder> ZRLEEncoder::create(EncoderCallback* callback, int encoding) {
  return std::make_unique<ZRLEEncoder>(callback, encoding, callback->protocolVersion() == 3,
                                       defaultTileSize, false, true);
}

bool ZRLEEncoder::writeRects(const Region& region, PixelBuffer* pb, Region* updated) {
  const bool limited = miniUpdates;
  const int budget = miniUpdateSize;
  const unsigned start = static_cast<unsigned>(callback->bytesWritten());
  bool complete = true;
  const auto [count, boxes] = callback->getRects(region);
  for (int i = 0; i < count; ++i) {
    const Region box(boxes[i]);
    int limit = 0;
    if (limited) {
      const unsigned used = static_cast<unsigned>(callback->bytesWritten()) - start;
      if (!complete || used >= static_cast<unsigned>(budget)) {
        callback->rectDeferred();
        updated->subtract(*updated, box);
        continue;
      }
      limit = budget - static_cast<int>(used);
    }
    Rect written;
    if (encode(Rect(boxes[i]), nullptr, pb, limit, &written, true)) continue;
    complete = false;
    if (written.isEmpty() && i == 0) throw plat::Exception("MiniUpdateSize is too small");
    updated->subtract(*updated, box);
    updated->unite(*updated, Region(static_cast<RgnRect>(written)));
  }
  return complete;
}

bool ZRLEEncoder::writeRect(const Rect& r, PixelBuffer* pb) {
  return encode(r, nullptr, pb, 0, nullptr, true);
}

bool ZRLEEncoder::writeRectData(const Rect& r, rdr::OutStream* os, PixelBuffer* pb) {
  return encode(r, os, pb, 0, nullptr, false);
}

void ZRLEEncoder::reset() {
  zlib.reset();
  tileCoder.reset();
  fresh = true;
}

void ZRLEEncoder::beginRow() {
  rowMark = memory.length();
}

void ZRLEEncoder::beginTile() {
  tileMark = memory.length();
}

void ZRLEEncoder::endTile() {
  if (flushAfterTiles) zlib.flush(false);
}

void ZRLEEncoder::endRow() {
  if (flushAfterRows) zlib.flush(false);
}

// Writes r, or with maxBytes above 0 as much of it as fits into that. Returns whether all
// of r was written; *written is what was.
bool ZRLEEncoder::encode(const Rect& r, rdr::OutStream* os, PixelBuffer* pb, int maxBytes,
                         Rect* written, bool withRectHeader) {
  PLAT_ASSERT_THROW(!os == withRectHeader);
  Rect result = r;
  if (written) *written = r;
  const bool direct = !writeLength && maxBytes <= 0;
  const int compressed = zlib.length();
  bool whole = true;
  if (!direct) {
    whole = encodeIntoMemory(r, pb, maxBytes, &result, withRectHeader);
    if (written) *written = result;
    if (!whole && result.isEmpty()) return false;
  }
  if (withRectHeader) os = callback->startRect(result, zrleEncoding);
  if (direct) {
    encodeDirectly(r, os, pb);
  } else {
    if (writeLength) os->writeU32(static_cast<uint32_t>(memory.length()));
    os->writeBytes(memory.data(), memory.length());
  }
  if (withRectHeader) callback->endRect(false);
  // An empty rectangle, or one whose pixels have no tile data, makes no output, not even the
  // stream's header.
  if (zlib.length() != compressed) fresh = false;
  return whole;
}

void ZRLEEncoder::encodeDirectly(const Rect& r, rdr::OutStream* os, PixelBuffer* pb) {
  flushAfterRows = flushAfterTiles = false;
  zlib.setUnderlying(os);
  tileCoder.writeRect(r, &zlib, pb);
  zlib.flush(false);
}

// Encodes r into the memory stream. Returns false when it did not fit: *result is what is
// there, or empty when there is nothing.
bool ZRLEEncoder::encodeIntoMemory(const Rect& r, PixelBuffer* pb, int maxBytes, Rect* result,
                                   bool withRectHeader) {
  memory.truncate(0);
  memory.setMaxSize(maxBytes);
  const int room = maxBytes > 0 ? std::min(maxBytes, memoryRoom) : memoryRoom;
  if (memory.nFree() < room) memory.overrun(room, 1);
  zlib.setUnderlying(&memory);
  flushAfterRows = true;
  flushAfterTiles = false;
  if (fits(r, pb)) return true;

  rollBack(rowMark);
  const Rect failedTile = tileCoder.currentTile();
  if (failedTile.tl.y > r.tl.y) {
    result->br.y = failedTile.tl.y;
    return false;
  }
  result->br.y = failedTile.br.y;
  flushAfterTiles = true;
  if (fits(*result, pb)) return false;

  rollBack(tileMark);
  if (tileCoder.currentTile().tl.x > r.tl.x) {
    result->br.x = std::min(r.br.x, tileCoder.currentTile().tl.x);
  } else {
    PLAT_ASSERT_THROW(withRectHeader);
    callback->rectDeferred();
    *result = Rect();
  }
  return false;
}

// False: the memory stream is full.
bool ZRLEEncoder::fits(const Rect& r, PixelBuffer* pb) {
  try {
    tileCoder.writeRect(r, &zlib, pb);
  } catch (const rdr::OutStreamFull&) {
    return false;
  }
  return true;
}

void ZRLEEncoder::rollBack(int mark) {
  memory.truncate(mark);
  zlib.reset();
  if (fresh && mark == 0) return;
  // The receiver is in the middle of the old stream. The header of the new one must not
  // reach it; behind a full flush there is no reference to what it has not seen, and it
  // does not notice the change.
  rdr::NullOutStream sink;
  zlib.setUnderlying(&sink);
  zlib.writeU8(0);
  zlib.flush(true);
  zlib.setUnderlying(&memory);
}

}  // namespace rfb
