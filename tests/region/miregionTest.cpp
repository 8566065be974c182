#include "base/region/miregion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <random>

#include "tests/support/thrownBy.h"

// Allocations up to the one that fails; negative: none fails. std::vector and gtest use
// operator new, which is not counted.
static int allocationsLeft = -1;

extern "C" {
void* __real_realloc(void* block, size_t size);
void* __wrap_realloc(void* block, size_t size) {
  return allocationsLeft < 0 || allocationsLeft-- > 0 ? __real_realloc(block, size) : nullptr;
}
void* __wrap_malloc(size_t size) {
  return __wrap_realloc(nullptr, size);
}
}

using rfb::Region;
using rfb::RgnRect;
using Boxes = std::vector<RgnRect>;

namespace {

constexpr int side = 50;
using Bitmap = std::array<uint64_t, side>;  // bit x of row y

// A box of the bitmap, spread over all coordinates that there are.
RgnRect box(int x1, int y1, int x2, int y2) {
  const auto spread = [](int at) { return static_cast<int16_t>(at * 65535 / side - 32768); };
  return {spread(x1), spread(y1), spread(x2), spread(y2)};
}

Boxes boxesOf(const Region& region) {
  Boxes boxes(region.rects(), region.rects() + region.numRects());
  const RgnRect& all = region.extents();
  if (boxes.empty()) return boxes;
  EXPECT_EQ(all.x1, std::ranges::min(boxes, {}, &RgnRect::x1).x1);
  EXPECT_EQ(all.x2, std::ranges::max(boxes, {}, &RgnRect::x2).x2);
  EXPECT_TRUE(all.y1 == boxes.front().y1 && all.y2 == boxes.back().y2);
  return boxes;
}

// Those of the region that has these pixels: the bands follow from them.
Boxes boxesOf(const Bitmap& rows) {
  Boxes boxes;
  for (int y = 0, end; y < side; y = end) {
    for (end = y + 1; end < side && rows[end] == rows[y];) ++end;
    for (uint64_t rest = rows[y], run; rest; rest &= ~run) {
      const int left = std::countr_zero(rest), right = left + std::countr_one(rest >> left);
      run = (uint64_t{1} << right) - 1;
      boxes.push_back(box(left, y, right, end));
    }
  }
  return boxes;
}

bool (Region::*const operations[])(const Region&, const Region&) = {
    &Region::unite, &Region::subtract, &Region::intersect};

}  // namespace

// With the result in a third region, in either operand, and with both operands the same.
TEST(Region, randomOperationsAgreeWithBitmap) {
  std::mt19937 random;
  for (int round = 0; round < 400; ++round) {
    const bool isNoise = round % 80 == 0;  // more than 500 boxes
    Region regions[3];
    Bitmap bits[3] = {};
    for (int i = 0; i < 3; ++i) {
      for (int boxes = isNoise ? 1700 : random() % 7; boxes > 0; --boxes) {
        const int x = random() % side, y = random() % side;
        const int w = isNoise ? 1 : random() % (side - x + 1);
        const int h = isNoise ? 1 : random() % (side - y + 1);
        ASSERT_TRUE(regions[i].unite(regions[i], Region(box(x, y, x + w, y + h))));
        for (int row = y; row < y + h; ++row) bits[i][row] |= ((uint64_t{1} << w) - 1) << x;
      }
    }
    const auto& [a, b, c] = regions;
    const Bitmap &l = bits[0], &r = bits[1];
    for (int kind = 0; kind < 3; ++kind) {
      Bitmap expected;
      for (int y = 0; y < side; ++y)
        expected[y] = std::array{l[y] | r[y], l[y] & ~r[y], l[y] & r[y]}[kind];
      const auto run = operations[kind];
      Region apart = c, intoA = a, intoB = b, same = a;
      ASSERT_TRUE((apart.*run)(a, b) && (intoA.*run)(intoA, b) && (intoB.*run)(a, intoB));
      for (const Region& result : {std::move(apart), intoA, intoB}) {
        ASSERT_EQ(boxesOf(result), boxesOf(expected)) << round << " " << kind;
      }
      ASSERT_TRUE(apart.isEmpty() && (same.*run)(same, same));
      ASSERT_EQ(boxesOf(same), kind == 1 ? Boxes() : boxesOf(a)) << round << " " << kind;
    }
  }
}

// Whatever allocation fails: the first of a list throws and changes nothing, a later one
// leaves the broken region. A list doubles up to 500 boxes and then grows by 250.
TEST(Region, everyFailedAllocationThrowsOrBreaksTheResult) {
  const Region empty(box(2, 3, 2, 3)), hull(box(1, 1, 7, 8)), right(box(7, 1, 9, 8)),
      below(box(1, 8, 7, 9));
  Region list, bands(box(0, 5, 9, 6)), comb, broken;
  for (int x : {1, 5}) list.unite(list, Region(box(x, 1, x + 2, 8)));
  for (int x : {0, 4, 8}) bands.unite(bands, Region(box(x, 0, x + 1, 2)));
  for (int16_t x = hull.extents().x1; comb.numRects() < 1013; x += 2)
    comb.unite(comb, Region({x, hull.extents().y1, int16_t(x + 1), hull.extents().y2}));
  const std::pair<const Region&, const Region&> operands[] = {
      {bands, list}, {list, list},  {list, empty}, {empty, list}, {list, hull}, {hull, list},
      {list, right}, {right, list}, {comb, below}, {below, list}, {comb, hull}};
  std::string log;  // for each: (t)hrows or (b)reaks when so many allocations succeed
  for (const auto& [a, b] : operands) {
    for (const auto run : operations) {
      for (const Region& before : {hull, list}) {
        for (int failAfter = 0, done = 0; !done; ++failAfter) {
          Region result = before;
          allocationsLeft = failAfter;
          const bool threw = !fakes::thrownBy([&] { done = (result.*run)(a, b); }).empty();
          allocationsLeft = -1;
          log += done ? "." : threw ? "t" : "b";
          EXPECT_TRUE(threw ? boxesOf(result) == boxesOf(before) : result.isBroken() == !done);
          if (result.isBroken()) broken = result;
        }
      }
      Region first = list, second = hull;
      EXPECT_FALSE((first.*run)(broken, list) || (second.*run)(list, broken));
      EXPECT_TRUE(first.isBroken() && second.isBroken() && first.extents().isEmpty());
    }
  }
  EXPECT_EQ(Region(box(5, 9, 3, 4)).extents(), box(5, 9, 5, 9));
  // The same twice: into a box, which has no list yet, and into a list of two boxes.
  EXPECT_EQ(log,
            "tbbb.tbbb.tb.tb.tb.tb.t....tb.tb.t..t....t..........tb.tb...t.t.tb.tb.tb.tb.t...."
            "tb.tb.....tb.tb.t.b...tb.tb.........tbbbbbbbbbbbb.tbbbbbbbbbbbb.");
}
