#include "libs/rfb/EncoderCallback.h"

#include <algorithm>
#include <climits>
#include <new>

#include "base/region/miregion.h"

namespace rfb {

rdr::OutStream* EncoderCallback::startRect(const Rect&, int) {
  return nullptr;
}

void EncoderCallback::endRect(bool) {}

uint8_t* EncoderCallback::getBuffer(int itemSize, int minItems, int maxItems, int* nItems) {
  const int64_t most = std::min(int64_t{maxItems} * itemSize, int64_t{scratchLimit});
  const int64_t wanted = std::max(most, int64_t{minItems} * itemSize);
  if (wanted > INT_MAX) throw std::bad_alloc();
  if (wanted > scratch.size()) {
    scratch.clear();
    scratch.resize(static_cast<int>(wanted));
  }
  if (nItems) *nItems = scratch.size() / itemSize;
  return scratch.data();
}

std::pair<int, const RgnRect*> EncoderCallback::getRects(const Region& region) {
  return {region.numRects(), region.rects()};
}

}  // namespace rfb
