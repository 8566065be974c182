#include "base/region/miregion.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "base/plat/Exception.h"

namespace {

int allocationsUntilFailure = INT_MAX;  // counts calls while `watching`
bool watching = false;
std::vector<size_t> requested;

bool allocationAllowed(size_t size) {
  if (!watching) return true;
  requested.push_back(size);
  return allocationsUntilFailure-- > 0;
}

// Watches the allocations of one operation; std::vector and gtest use operator new.
struct Watch {
  explicit Watch(int failAfter = INT_MAX) {
    requested.clear();
    requested.reserve(100);
    allocationsUntilFailure = failAfter;
    watching = true;
  }
  ~Watch() { watching = false; }
};

}  // namespace

extern "C" {
void* __real_malloc(size_t size);
void* __real_realloc(void* block, size_t size);
void* __wrap_malloc(size_t size) {
  return allocationAllowed(size) ? __real_malloc(size) : nullptr;
}
void* __wrap_realloc(void* block, size_t size) {
  return allocationAllowed(size) ? __real_realloc(block, size) : nullptr;
}
}

using rfb::Region;
using rfb::RgnRect;

namespace {

RgnRect box(int x1, int y1, int x2, int y2) {
  return {static_cast<int16_t>(x1), static_cast<int16_t>(y1), static_cast<int16_t>(x2),
          static_cast<int16_t>(y2)};
}

std::string text(const Region& region) {
  std::string result;
  for (int i = 0; i < region.numRects(); ++i) {
    const RgnRect& r = region.rects()[i];
    result += std::to_string(r.x1) + "," + std::to_string(r.y1) + "-" + std::to_string(r.x2) + "," +
              std::to_string(r.y2) + " ";
  }
  return result;
}

Region unionOf(const std::vector<RgnRect>& boxes) {
  Region region;
  for (const RgnRect& b : boxes) EXPECT_TRUE(region.unite(region, Region(b)));
  return region;
}

constexpr int kSide = 20;
using Bitmap = std::vector<bool>;

Bitmap bitmapOf(const Region& region) {
  Bitmap bits(kSide * kSide);
  for (int i = 0; i < region.numRects(); ++i) {
    const RgnRect& r = region.rects()[i];
    for (int y = r.y1; y < r.y2; ++y) {
      for (int x = r.x1; x < r.x2; ++x) bits[y * kSide + x] = true;
    }
  }
  return bits;
}

void expectBanded(const Region& region) {
  const RgnRect* r = region.rects();
  int count = region.numRects();
  RgnRect bounds = count ? r[0] : region.extents();
  std::string spans, previousSpans;
  int previousBottom = INT_MIN;
  for (int i = 0; i < count; ++i) {
    EXPECT_FALSE(r[i].isEmpty());
    bounds = box(std::min(bounds.x1, r[i].x1), bounds.y1, std::max(bounds.x2, r[i].x2), r[i].y2);
    bool sameBand = i > 0 && r[i].y1 == r[i - 1].y1;
    if (sameBand) {
      EXPECT_EQ(r[i].y2, r[i - 1].y2);
      EXPECT_GT(r[i].x1, r[i - 1].x2);
    } else if (i > 0) {
      EXPECT_GE(r[i].y1, r[i - 1].y2);
      previousBottom = r[i - 1].y2;
      previousSpans = spans;
      spans.clear();
    }
    spans += std::to_string(r[i].x1) + "-" + std::to_string(r[i].x2) + " ";
    bool lastOfBand = i + 1 == count || r[i + 1].y1 != r[i].y1;
    if (lastOfBand && previousBottom == r[i].y1) {
      EXPECT_NE(spans, previousSpans);
    }
  }
  EXPECT_EQ(region.extents(), bounds);
  EXPECT_EQ(region.extents().isEmpty(), count == 0);
}

using Operation = bool (Region::*)(const Region&, const Region&);

}  // namespace

TEST(Region, knownResultsHaveTheirBands) {
  Region hole;
  ASSERT_TRUE(hole.subtract(Region(box(0, 0, 9, 9)), Region(box(3, 3, 6, 6))));
  EXPECT_EQ(text(hole), "0,0-9,3 0,3-3,6 6,3-9,6 0,6-9,9 ");
  EXPECT_EQ(text(unionOf({box(0, 0, 4, 4), box(4, 0, 8, 4)})), "0,0-8,4 ");
  EXPECT_EQ(text(unionOf({box(0, 0, 4, 4), box(5, 0, 8, 4)})), "0,0-4,4 5,0-8,4 ");
  EXPECT_EQ(text(unionOf({box(0, 0, 4, 4), box(0, 4, 4, 8)})), "0,0-4,8 ");
  EXPECT_EQ(text(unionOf({box(-32768, -32768, 0, 32767), box(0, -32768, 32767, 32767)})),
            "-32768,-32768-32767,32767 ");

  ASSERT_TRUE(hole.subtract(hole, hole));
  EXPECT_EQ(hole.numRects(), 0);
  Region empty(box(7, 8, 7, 20));
  EXPECT_EQ(empty.extents(), box(7, 8, 7, 8));
  EXPECT_TRUE(empty.isEmpty());
}

// Against a bitmap, with the result in a third region, in either operand, and with both
// operands the same.
TEST(Region, randomOperationsAgreeWithBitmapAndStayBanded) {
  std::mt19937 random(1);
  auto randomRegion = [&] {
    std::vector<RgnRect> boxes(random() % 7);
    for (RgnRect& b : boxes) {
      int x = random() % kSide, y = random() % kSide;
      b = box(x, y, x + random() % (kSide - x + 1), y + random() % (kSide - y + 1));
    }
    return unionOf(boxes);
  };
  struct {
    Operation operation;
    bool (*expected)(bool, bool);
  } table[] = {{&Region::unite, [](bool a, bool b) { return a || b; }},
               {&Region::subtract, [](bool a, bool b) { return a && !b; }},
               {&Region::intersect, [](bool a, bool b) { return a && b; }}};
  for (int round = 0; round < 400; ++round) {
    SCOPED_TRACE(round);
    Region a = randomRegion();
    Region b = round % 5 == 0 ? a : randomRegion();
    Bitmap bitsA = bitmapOf(a), bitsB = bitmapOf(b);
    for (const auto& row : table) {
      Bitmap expected(bitsA.size());
      for (size_t i = 0; i < bitsA.size(); ++i) expected[i] = row.expected(bitsA[i], bitsB[i]);
      Region apart = randomRegion(), intoA = a, intoB = b;
      ASSERT_TRUE((apart.*row.operation)(a, b));
      ASSERT_TRUE((intoA.*row.operation)(intoA, b));
      ASSERT_TRUE((intoB.*row.operation)(a, intoB));
      ASSERT_EQ(bitmapOf(apart), expected);
      EXPECT_EQ(text(intoA), text(apart));
      EXPECT_EQ(text(intoB), text(apart));
      expectBanded(apart);
      Region same = a;
      ASSERT_TRUE((same.*row.operation)(same, same));
      ASSERT_EQ(bitmapOf(same), row.expected(true, true) ? bitsA : Bitmap(bitsA.size()));
    }
    if (HasFailure()) return;
  }
}

// Whatever allocation fails: the first of a list throws and changes nothing, a later one
// leaves the broken region.
TEST(Region, everyFailedAllocationThrowsOrBreaksTheResult) {
  Region a = unionOf({box(0, 0, 2, 2), box(4, 0, 6, 2), box(8, 0, 10, 2), box(0, 5, 9, 6)});
  Region b = unionOf({box(1, 1, 3, 8), box(5, 1, 7, 8)});
  for (Operation operation : {&Region::unite, &Region::subtract, &Region::intersect}) {
    bool threw = false, broke = false, done = false;
    for (int failAfter = 0; !done; ++failAfter) {
      Region result(box(1, 2, 3, 4));
      try {
        Watch watch(failAfter);
        done = (result.*operation)(a, b);
        broke |= !done;
        EXPECT_NE(result.isBroken(), done);
      } catch (const plat::AssertionFail& failure) {
        EXPECT_STREQ(failure.expr, "p");
        EXPECT_EQ(text(result), "1,2-3,4 ");
        threw = true;
      }
    }
    EXPECT_TRUE(threw);
    EXPECT_TRUE(broke);
  }
  Region small = unionOf({box(0, 0, 1, 1), box(0, 2, 1, 3)});
  {
    Watch watch(0);
    EXPECT_FALSE(small.copy(a));
  }
  ASSERT_TRUE(small.isBroken());
  EXPECT_EQ(small.numRects(), 0);
  for (Operation operation : {&Region::unite, &Region::subtract, &Region::intersect}) {
    Region left, right;
    EXPECT_FALSE((left.*operation)(small, a));
    EXPECT_FALSE((right.*operation)(Region(), small));
    EXPECT_TRUE(left.isBroken() && right.isBroken());
  }
}

TEST(Region, listGrowsByItsCountUpTo500AndThenBy250) {
  Region left = unionOf({box(0, 0, 1, 1)}), right = unionOf({box(2, 0, 3, 1)});
  for (int x = 4; x < 3200; x += 4) {
    ASSERT_TRUE(left.unite(left, Region(box(x, 0, x + 1, 1))));
    ASSERT_TRUE(right.unite(right, Region(box(x + 2, 0, x + 3, 1))));
  }
  Region both;
  {
    Watch watch;
    ASSERT_TRUE(both.unite(left, right));
  }
  EXPECT_EQ(both.numRects(), 1600);
  std::vector<size_t> expected;
  for (size_t boxes : {1, 2, 4, 8, 16, 32, 64, 128, 256, 512, 762, 1012, 1262, 1512, 1762}) {
    expected.push_back((boxes + 1) * sizeof(RgnRect));
  }
  EXPECT_EQ(requested, expected);
}
