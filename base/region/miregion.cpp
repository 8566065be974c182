#include "base/region/miregion.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "base/plat/Assertion.h"

namespace rfb {

namespace {

// Keeps the size of a block within 31 bits.
constexpr int64_t kMaxBoxes = INT32_MAX / static_cast<int64_t>(sizeof(RgnRect)) - 1;

size_t blockBytes(int64_t boxes) {
  return static_cast<size_t>(boxes + 1) * sizeof(RgnRect);
}

bool boxesOverlap(const RgnRect& a, const RgnRect& b) {
  return a.x1 < b.x2 && b.x1 < a.x2 && a.y1 < b.y2 && b.y1 < a.y2;
}

bool encloses(const Region& a, const Region& b) {
  const RgnRect& outer = a.extents();
  const RgnRect& inner = b.extents();
  return a.numRects() == 1 && outer.x1 <= inner.x1 && outer.y1 <= inner.y1 &&
         outer.x2 >= inner.x2 && outer.y2 >= inner.y2;
}

}  // namespace

// Walks the bands of a region downwards; [first, last) are the boxes of the current one.
class Region::Bands {
 public:
  explicit Bands(const Region& region)
      : first(region.rects()), last(first), end(first + region.numRects()) {
    findLast();
  }

  bool done() const { return first == end; }
  // Below everything when done.
  int top() const { return done() ? INT_MAX : first->y1; }
  int bottom() const { return first->y2; }
  void passTo(int y) {
    if (done() || bottom() > y) return;
    first = last;
    findLast();
  }

  const RgnRect* first;
  const RgnRect* last;

 private:
  void findLast() {
    while (last != end && last->y1 == first->y1) ++last;
  }

  const RgnRect* end;
};

Region::Block Region::emptyBlock{0, 0};
Region::Block Region::brokenBlock{0, 0};

Region::Region(const RgnRect& box) : extents_(box) {
  if (box.isEmpty()) makeEmpty();
}

Region::Region(const Region& other) : Region() {
  copy(other);
}

Region::Region(Region&& other) noexcept : extents_(other.extents_), data(other.data) {
  other.data = nullptr;
  other.makeEmpty();
}

Region& Region::operator=(const Region& other) {
  if (this != &other) copy(other);
  return *this;
}

Region& Region::operator=(Region&& other) noexcept {
  std::swap(extents_, other.extents_);
  std::swap(data, other.data);
  return *this;
}

Region::~Region() {
  release();
}

Region::Block* Region::allocate(int64_t boxes) {
  void* p = boxes > kMaxBoxes ? nullptr : malloc(blockBytes(boxes));
  PLAT_ASSERT_THROW(p);
  return new (p) Block{static_cast<int32_t>(boxes), 0};
}

// Null, with the block untouched, when there is no memory.
Region::Block* Region::reallocate(Block* block, int64_t boxes) {
  if (boxes > kMaxBoxes) return nullptr;
  Block* moved = static_cast<Block*>(realloc(static_cast<void*>(block), blockBytes(boxes)));
  if (moved) moved->size = static_cast<int32_t>(boxes);
  return moved;
}

void Region::release() {
  if (ownsBlock()) free(data);
  data = nullptr;
}

void Region::makeEmpty() {
  release();
  extents_.x2 = extents_.x1;
  extents_.y2 = extents_.y1;
  data = &emptyBlock;
}

bool Region::makeBroken() {
  makeEmpty();
  data = &brokenBlock;
  return false;
}

// Makes room for n more boxes in the list of a result, which begins empty.
bool Region::grow(int n) {
  if (!ownsBlock()) {
    data = allocate(n);
    return true;
  }
  int used = data->numRects;
  if (n == 1) n = used <= 500 ? used : 250;
  Block* moved = reallocate(data, static_cast<int64_t>(used) + n);
  if (!moved) return makeBroken();
  data = moved;
  return true;
}

bool Region::append(int x1, int y1, int x2, int y2) {
  if ((!ownsBlock() || data->numRects == data->size) && !grow(1)) return false;
  data->boxes()[data->numRects++] = {static_cast<int16_t>(x1), static_cast<int16_t>(y1),
                                     static_cast<int16_t>(x2), static_cast<int16_t>(y2)};
  return true;
}

// Merges the last band, which starts at index `band`, with the one before it, which starts at
// `previousBand`, when they touch and their spans are the same. Returns where the last band
// starts now.
int Region::coalesce(int previousBand, int band) {
  int count = data->numRects - band;
  if (count == 0) return previousBand;
  if (band - previousBand != count) return band;
  RgnRect* above = data->boxes() + previousBand;
  const RgnRect* below = data->boxes() + band;
  if (above->y2 != below->y1) return band;
  for (int i = 0; i < count; ++i) {
    if (above[i].x1 != below[i].x1 || above[i].x2 != below[i].x2) return band;
  }
  for (int i = 0; i < count; ++i) above[i].y2 = below[i].y2;
  data->numRects = band;
  return previousBand;
}

// Recomputes the extents of a finished list.
void Region::finish() {
  if (!ownsBlock()) return;
  const RgnRect* first = data->boxes();
  const RgnRect* last = first + data->numRects - 1;
  extents_ = {first->x1, first->y1, last->x2, last->y2};
  for (const RgnRect* box = first; box <= last; ++box) {
    extents_.x1 = std::min(extents_.x1, box->x1);
    extents_.x2 = std::max(extents_.x2, box->x2);
  }
  if (first == last) release();
}

bool Region::copy(const Region& source) {
  if (this == &source) return !isBroken();
  if (!source.ownsBlock()) {
    release();
    data = source.data;
    extents_ = source.extents_;
    return !isBroken();
  }
  int count = source.data->numRects;
  if (!ownsBlock()) {
    data = allocate(count);
  } else if (data->size < count) {
    Block* moved = reallocate(data, count);
    if (!moved) return makeBroken();
    data = moved;
  }
  memcpy(data->boxes(), source.data->boxes(), static_cast<size_t>(count) * sizeof(RgnRect));
  data->numRects = count;
  extents_ = source.extents_;
  return true;
}

bool Region::unite(const Region& a, const Region& b) {
  if (a.isBroken() || b.isBroken()) return makeBroken();
  if (&a != &b && a.isEmpty()) return copy(b);
  if (&a == &b || b.isEmpty() || encloses(a, b)) return copy(a);
  if (encloses(b, a)) return copy(b);
  return sweep(a, b, &Region::appendUnion, true, true);
}

bool Region::subtract(const Region& a, const Region& b) {
  if (a.isBroken() || b.isBroken()) return makeBroken();
  if (a.isEmpty() || b.isEmpty() || !boxesOverlap(a.extents_, b.extents_)) return copy(a);
  if (&a == &b) {
    makeEmpty();
    return true;
  }
  return sweep(a, b, &Region::appendDifference, true, false);
}

bool Region::intersect(const Region& a, const Region& b) {
  if (a.isBroken() || b.isBroken()) return makeBroken();
  return sweep(a, b, &Region::appendCommon, false, false);
}

// Walks both regions from the top, one range of rows after another in which neither starts or
// ends a band. appendBoth makes the band of rows that both have; keepA and keepB tell whether
// the rows that only one has belong to the result.
bool Region::sweep(const Region& a, const Region& b, AppendBoth appendBoth, bool keepA,
                   bool keepB) {
  Region result;
  Bands bandsA(a);
  Bands bandsB(b);
  int previousBand = 0;
  int y = INT_MIN;
  while (!bandsA.done() || !bandsB.done()) {
    int top = std::max(y, std::min(bandsA.top(), bandsB.top()));
    bool inA = bandsA.top() <= top;
    bool inB = bandsB.top() <= top;
    int bottom =
        std::min(inA ? bandsA.bottom() : bandsA.top(), inB ? bandsB.bottom() : bandsB.top());
    int band = result.numRects();
    bool ok = true;
    if (inA && inB) {
      ok = (result.*appendBoth)(bandsA, bandsB, top, bottom);
    } else if (inA ? keepA : keepB) {
      ok = result.appendBand(inA ? bandsA : bandsB, top, bottom);
    }
    if (!ok) return makeBroken();
    previousBand = result.coalesce(previousBand, band);
    y = bottom;
    bandsA.passTo(y);
    bandsB.passTo(y);
  }
  result.finish();
  *this = std::move(result);
  return true;
}

bool Region::appendBand(const Bands& source, int y1, int y2) {
  int count = static_cast<int>(source.last - source.first);
  bool full = !ownsBlock() || data->size - data->numRects < count;
  if (full && !grow(count)) return false;
  for (const RgnRect* box = source.first; box != source.last; ++box) {
    append(box->x1, y1, box->x2, y2);
  }
  return true;
}

bool Region::appendUnion(const Bands& a, const Bands& b, int y1, int y2) {
  const RgnRect* nextA = a.first;
  const RgnRect* nextB = b.first;
  int x1 = std::min(nextA->x1, nextB->x1);
  int x2 = x1;
  while (nextA != a.last || nextB != b.last) {
    bool takeA = nextB == b.last || (nextA != a.last && nextA->x1 < nextB->x1);
    const RgnRect* next = takeA ? nextA++ : nextB++;
    if (next->x1 > x2) {
      if (!append(x1, y1, x2, y2)) return false;
      x1 = next->x1;
      x2 = next->x2;
    } else {
      x2 = std::max<int>(x2, next->x2);
    }
  }
  return append(x1, y1, x2, y2);
}

bool Region::appendDifference(const Bands& a, const Bands& b, int y1, int y2) {
  const RgnRect* cut = b.first;
  for (const RgnRect* box = a.first; box != a.last; ++box) {
    int x = box->x1;
    while (cut != b.last && cut->x2 <= x) ++cut;
    for (const RgnRect* hole = cut; hole != b.last && hole->x1 < box->x2; ++hole) {
      if (hole->x1 > x && !append(x, y1, hole->x1, y2)) return false;
      x = hole->x2;
    }
    if (x < box->x2 && !append(x, y1, box->x2, y2)) return false;
  }
  return true;
}

bool Region::appendCommon(const Bands& a, const Bands& b, int y1, int y2) {
  const RgnRect* boxA = a.first;
  const RgnRect* boxB = b.first;
  while (boxA != a.last && boxB != b.last) {
    int x1 = std::max(boxA->x1, boxB->x1);
    int x2 = std::min(boxA->x2, boxB->x2);
    if (x1 < x2 && !append(x1, y1, x2, y2)) return false;
    if (boxA->x2 < boxB->x2) {
      ++boxA;
    } else {
      ++boxB;
    }
  }
  return true;
}

}  // namespace rfb
