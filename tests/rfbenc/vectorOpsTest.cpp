#include "libs/rfbenc/runScan.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "libs/rfbenc/XrlePack24.h"

TEST(runScan, everyLengthAndAddressAgreesWithPixelByPixel) {
  using Ops = rfb::RunScanOps;
  const std::pair<decltype(&Ops::scan8), int> table[] = {
      {&Ops::scan8, 1}, {&Ops::scan16, 2}, {&Ops::scan32, 4}};
  std::mt19937 random(1);
  for (const Ops* ops : rfb::usableRunScanOps()) {
    for (int i = 0; i < 3 * 200 * 33; ++i) {
      const auto& [scan, size] = table[i % 3];
      const int count = 1 + i / 3 % 200, offset = i / 600;
      // Mostly equal neighbours; where they differ, in one byte only.
      std::vector<uint8_t> block(offset + (count + 1) * size);
      uint8_t* pixel = block.data() + offset;
      std::vector<std::pair<int, int>> runs, visited;
      rfb::RunCounts expected{0, 0};
      for (int at = 0, start = 0; at < count; ++at, pixel += size) {
        memcpy(pixel + size, pixel, size);
        if (at + 1 < count && random() % (count % 7 + 1) != 0) continue;
        pixel[size + random() % size] ^= 1 << random() % 8;
        runs.emplace_back(start, at + 1 - start);
        ++(at == start ? expected.singles : expected.runs);
        start = at + 1;
      }
      std::vector<uint64_t> ends((count + 63) / 64, 0xa5a5a5a5a5a5a5a5);
      ASSERT_EQ((ops->*scan)(block.data() + offset, count, ends.data()), expected)
          << ops->name << i;
      // All of them, or up to one that wants no more.
      if (i % 2) runs.resize(1 + i % runs.size());
      rfb::forEachRun(ends.data(), count, [&](int start, int length) {
        visited.emplace_back(start, length);
        return i % 2 == 0 || visited.size() < runs.size();
      });
      ASSERT_EQ(visited, runs) << ops->name << i;
    }
  }
}

TEST(XrlePack24, anyNumberOfPixelsIsPackedWithoutTouchingMore) {
  for (const rfb::XrlePack24Ops* ops : rfb::usableXrlePack24Ops()) {
    for (size_t i = 0; i < 71 * 4 * 2; ++i) {
      const size_t pixels = i / 8, gap = i / 2 % 4, first = i % 2;
      // Memory of just the length, so that a sanitizer sees a byte too many.
      std::vector<uint8_t> in(gap + 4 * pixels);
      for (size_t at = 0; at < in.size(); ++at) in[at] = static_cast<uint8_t>(at * 7 + 1);
      std::vector<uint8_t> expected(gap + 3 * pixels + 8, 0xa5), out = expected;
      for (size_t at = 0; at < 3 * pixels; ++at)
        expected[gap + at] = in[gap + at / 3 * 4 + first + at % 3];
      (first ? ops->packTrailing : ops->packLeading)(in.data() + gap, out.data() + gap, pixels);
      ASSERT_EQ(out, expected) << ops->name << pixels;
    }
  }
}
