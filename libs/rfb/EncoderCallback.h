#pragma once

#include <cstdint>
#include <utility>

#include "base/plat/MBuf.h"
#include "base/plat/NonCopyable.h"

namespace rdr {
class OutStream;
}

namespace rfb {

class Region;
struct Rect;
struct RgnRect;

// What an encoder asks of its owner: where rectangles go, scratch memory, how much has
// been written. The defaults write nowhere.
class EncoderCallback : private plat::NonCopyable {
 public:
  // scratchLimit: bytes that getBuffer hands out as long as minItems need no more.
  // wipe: the scratch block is overwritten before it is freed.
  explicit EncoderCallback(int newScratchLimit = 16384, bool wipe = false)
      : scratchLimit(newScratchLimit), scratch(0, wipe) {}

  // A whole rectangle is held back for a later update. Of one that is written in part the
  // caller learns by the region that was updated.
  virtual void rectDeferred() {}
  // Writes the header of a rectangle; returns the stream for its data, which stays the
  // callback's.
  virtual rdr::OutStream* startRect(const Rect& r, int encoding);
  // After the data of a rectangle. flush: on to the destination.
  virtual void endRect(bool flush);
  // A block for at least minItems items, and for up to maxItems within the scratch limit;
  // sets *nItems, which may be null, to the number that it holds. Item sizes in bytes.
  // The callback's, valid until the next call; the contents are not kept.
  virtual uint8_t* getBuffer(int itemSize, int minItems, int maxItems, int* nItems);
  // 32-bit, wraps: compare by difference only.
  virtual int bytesWritten() { return 0; }
  virtual int protocolVersion() { return 4; }
  // The boxes in which a region is to be written: their number and the first, valid while
  // the region does not change.
  virtual std::pair<int, const RgnRect*> getRects(const Region& region);

  virtual ~EncoderCallback() = default;

 private:
  int scratchLimit;  // bytes
  plat::MBuf<unsigned char> scratch;
};

}  // namespace rfb
