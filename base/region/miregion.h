#pragma once

#include <cstdint>

// In the pixel model's namespace, where all users of regions live; nothing here
// knows the other types of it.
namespace rfb {

// A box in 16-bit pixel coordinates; x2 and y2 are exclusive.
struct RgnRect {
  int16_t x1 = 0;
  int16_t y1 = 0;
  int16_t x2 = 0;
  int16_t y2 = 0;

  bool isEmpty() const { return x2 <= x1 || y2 <= y1; }
  bool operator==(const RgnRect&) const = default;
};

// A set of pixels as a list of boxes in y-x bands, the form of the X11 sample
// server's machine-independent regions: sorted by y1, then x1; boxes with the same
// y1 form a band, share y2 and have gaps between them; two bands that touch differ
// in their spans. extents() is the bounding box.
//
// An operation replaces this region, which may be one of its operands. It returns
// false when memory for a growing list ran out: this region is then broken, which
// means no boxes, and so is every result computed from it. When the first memory of
// a list cannot be had, AssertionFail "p" is thrown and this region stays as it was.
class Region {
 public:
  Region() : Region(RgnRect()) {}
  // An empty box gives the empty region at its top left corner.
  explicit Region(const RgnRect& box);
  Region(const Region& other);
  Region(Region&& other) noexcept;
  Region& operator=(const Region& other);
  Region& operator=(Region&& other) noexcept;
  ~Region();

  bool copy(const Region& source);
  bool unite(const Region& a, const Region& b);
  bool subtract(const Region& a, const Region& b);  // a minus b
  bool intersect(const Region& a, const Region& b);

  bool isEmpty() const { return numRects() == 0; }  // a broken region too
  bool isBroken() const { return data == &brokenBlock; }
  const RgnRect& extents() const { return extents_; }  // of no area when empty
  int numRects() const { return data ? data->numRects : 1; }
  // numRects() boxes, valid until this region changes.
  const RgnRect* rects() const { return data ? data->boxes() : &extents_; }

 private:
  // Head of a heap block that the boxes follow.
  struct Block {
    int32_t size;      // boxes that the block can hold
    int32_t numRects;  // boxes in use

    RgnRect* boxes() { return reinterpret_cast<RgnRect*>(this + 1); }
  };
  static_assert(sizeof(Block) == sizeof(RgnRect));

  class Bands;
  using AppendBoth = bool (Region::*)(const Bands& a, const Bands& b, int y1, int y2);

  static Block* allocate(int64_t boxes);
  static Block* reallocate(Block* block, int64_t boxes);

  bool ownsBlock() const { return data && data != &emptyBlock && data != &brokenBlock; }
  void release();
  void makeEmpty();
  bool makeBroken();  // returns false
  bool grow(int n);
  bool append(int x1, int y1, int x2, int y2);
  int coalesce(int previousBand, int band);
  void finish();

  bool sweep(const Region& a, const Region& b, AppendBoth appendBoth, bool keepA, bool keepB);
  bool appendBand(const Bands& source, int y1, int y2);
  bool appendUnion(const Bands& a, const Bands& b, int y1, int y2);
  bool appendDifference(const Bands& a, const Bands& b, int y1, int y2);
  bool appendCommon(const Bands& a, const Bands& b, int y1, int y2);

  static Block emptyBlock;   // shared: never written, never freed
  static Block brokenBlock;  // the same

  RgnRect extents_;
  // Null: the region is exactly its extents. Otherwise a shared block, or an owned
  // one of malloc with at least one box.
  Block* data = nullptr;
};

}  // namespace rfb
