#include "base/region/miregion.h"

#include <gtest/gtest.h>

#include <array>
#include <bitset>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "base/plat/Exception.h"

// Allocations up to the one that fails; negative: none fails. std::vector and gtest use
// operator new, which is not counted.
static int allocationsLeft = -1;

extern "C" {
void* __real_malloc(size_t size);
void* __real_realloc(void* block, size_t size);
void* __wrap_malloc(size_t size) {
  return allocationsLeft < 0 || allocationsLeft-- > 0 ? __real_malloc(size) : nullptr;
}
void* __wrap_realloc(void* block, size_t size) {
  return allocationsLeft < 0 || allocationsLeft-- > 0 ? __real_realloc(block, size) : nullptr;
}
}

using rfb::Region;
using rfb::RgnRect;

namespace {

RgnRect box(int x1, int y1, int x2, int y2) {
  return {static_cast<int16_t>(x1), static_cast<int16_t>(y1), static_cast<int16_t>(x2),
          static_cast<int16_t>(y2)};
}

Region unionOf(const std::vector<RgnRect>& boxes) {
  Region region;
  for (const RgnRect& b : boxes) EXPECT_TRUE(region.unite(region, Region(b)));
  return region;
}

std::string text(const RgnRect& r) {
  return std::to_string(r.x1) + "," + std::to_string(r.y1) + "-" + std::to_string(r.x2) + "," +
         std::to_string(r.y2) + " ";
}

// The boxes, then the extents.
std::string text(const Region& region) {
  std::string result;
  for (int i = 0; i < region.numRects(); ++i) result += text(region.rects()[i]);
  return region.isEmpty() ? "empty" : result + "in " + text(region.extents());
}

constexpr int kSide = 20;
using Row = std::bitset<kSide>;
using Bitmap = std::array<Row, kSide>;

// The text of the region that has these pixels: the bands follow from them.
std::string text(const Bitmap& bits) {
  std::string result;
  RgnRect extents = box(kSide, kSide, 0, 0);
  for (int y = 0, bottom; y < kSide; y = bottom) {
    for (bottom = y + 1; bottom < kSide && bits[bottom] == bits[y];) ++bottom;
    for (int x = 0, end; x < kSide; x = end) {
      for (end = x + 1; end < kSide && bits[y][end] == bits[y][x];) ++end;
      if (!bits[y][x]) continue;
      result += text(box(x, y, end, bottom));
      extents = box(std::min<int>(extents.x1, x), std::min<int>(extents.y1, y),
                    std::max<int>(extents.x2, end), bottom);
    }
  }
  return result.empty() ? "empty" : result + "in " + text(extents);
}

using Operation = bool (Region::*)(const Region&, const Region&);
const Operation operations[] = {&Region::unite, &Region::subtract, &Region::intersect};

}  // namespace

// With the result in a third region, in either operand, and with both operands the same.
TEST(Region, randomOperationsAgreeWithBitmap) {
  std::mt19937 random(1);
  for (int round = 0; round < 400; ++round) {
    Region regions[3];
    Bitmap bits[3];
    for (int i = 0; i < 3; ++i) {
      std::vector<RgnRect> boxes(random() % 7);
      for (RgnRect& b : boxes) {
        int x1 = random() % kSide, y1 = random() % kSide;
        b = box(x1, y1, x1 + random() % (kSide - x1 + 1), y1 + random() % (kSide - y1 + 1));
        for (int y = b.y1; y < b.y2; ++y) {
          for (int x = b.x1; x < b.x2; ++x) bits[i][y].set(x);
        }
      }
      regions[i] = unionOf(boxes);
      ASSERT_EQ(text(regions[i]), text(bits[i]));
    }
    const Region &a = regions[0], &b = regions[1];
    for (const Operation& operation : operations) {
      const int kind = static_cast<int>(&operation - operations);
      const auto expected = [&](const Bitmap& left, const Bitmap& right) {
        Bitmap result;
        for (int y = 0; y < kSide; ++y) {
          const Row rows[] = {left[y] | right[y], left[y] & ~right[y], left[y] & right[y]};
          result[y] = rows[kind];
        }
        return text(result);
      };
      Region apart = regions[2], intoA = a, intoB = b, same = a;
      ASSERT_TRUE((apart.*operation)(a, b) && (intoA.*operation)(intoA, b) &&
                  (intoB.*operation)(a, intoB) && (same.*operation)(same, same));
      for (const Region* result : {&apart, &intoA, &intoB}) {
        ASSERT_EQ(text(*result), expected(bits[0], bits[1])) << round;
      }
      ASSERT_EQ(text(same), expected(bits[0], bits[0])) << round;
    }
  }
}

TEST(Region, unionOfEmptyRegionsIsTheSecond) {
  Region first(box(1, 2, 1, 2)), second(box(3, 4, 3, 4)), result;
  EXPECT_TRUE(result.unite(first, second));
  EXPECT_EQ(text(result.extents()), "3,4-3,4 ");
}

TEST(Region, coordinatesReachTheLimitsOf16Bits) {
  EXPECT_EQ(text(unionOf({box(-32768, -32768, 0, 32767), box(0, -32768, 32767, 32767)})),
            "-32768,-32768-32767,32767 in -32768,-32768-32767,32767 ");
}

// Whatever allocation fails: the first of a list throws and changes nothing, a later one
// leaves the broken region.
TEST(Region, everyFailedAllocationThrowsOrBreaksTheResult) {
  Region a = unionOf({box(0, 0, 2, 2), box(4, 0, 6, 2), box(8, 0, 10, 2), box(0, 5, 9, 6)});
  Region b = unionOf({box(1, 1, 3, 8), box(5, 1, 7, 8)});
  Region broken;
  for (Operation operation : operations) {
    bool threw = false, broke = false, done = false;
    for (int failAfter = 0; !done; ++failAfter) {
      Region result(box(1, 2, 3, 4));
      try {
        allocationsLeft = failAfter;
        done = (result.*operation)(a, b);
        allocationsLeft = -1;
        EXPECT_NE(result.isBroken(), done);
        if (!done) broke = true, broken = result;
      } catch (const plat::AssertionFail&) {
        EXPECT_EQ(text(result), "1,2-3,4 in 1,2-3,4 ");
        threw = true;
      }
    }
    EXPECT_TRUE(threw && broke);
    Region left, right;
    EXPECT_FALSE((left.*operation)(broken, a) || (right.*operation)(a, broken));
    EXPECT_TRUE(left.isBroken() && right.isBroken() && left.isEmpty());
  }
  Region small = unionOf({box(0, 0, 1, 1), box(0, 2, 1, 3)});
  allocationsLeft = 0;
  EXPECT_FALSE(small.copy(a));
  EXPECT_TRUE(small.isBroken());
}
