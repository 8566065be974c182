#include "libs/rfbenc/runScan.h"

#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <random>

using rfb::RunCounts;
using rfb::RunScanOps;

TEST(runScan, everyLengthAndAddressAgreesWithPixelByPixel) {
  struct {
    RunCounts (*RunScanOps::*scan)(const uint8_t*, int, uint64_t*);
    size_t size;
  } table[] = {{&RunScanOps::scan8, 1}, {&RunScanOps::scan16, 2}, {&RunScanOps::scan32, 4}};
  std::mt19937 random(1);
  for (const RunScanOps* ops : rfb::usableRunScanOps()) {
    SCOPED_TRACE(ops->name);
    for (const auto& row : table) {
      for (int count = 1; count <= 330; ++count) {
        for (size_t offset = 0; offset < 33; offset += count < 130 ? 1 : 7) {
          // Mostly equal neighbours; where they differ, in one byte only.
          std::vector<uint8_t> block(offset + (static_cast<size_t>(count) + 1) * row.size);
          uint8_t* pixels = block.data() + offset;
          for (int i = 1; i <= count; ++i) {
            uint8_t* pixel = pixels + static_cast<size_t>(i) * row.size;
            memcpy(pixel, pixel - row.size, row.size);
            const bool change =
                i == count || random() % (static_cast<unsigned>(count) % 7 + 1) == 0;
            if (change) pixel[random() % row.size] ^= 1 << random() % 8;
          }
          std::vector<uint64_t> expected((static_cast<size_t>(count) + 63) / 64);
          std::vector<int> lengths;
          RunCounts expectedCounts{0, 0};
          for (int i = 0, start = 0; i < count; ++i) {
            const uint8_t* pixel = pixels + static_cast<size_t>(i) * row.size;
            if (!memcmp(pixel, pixel + row.size, row.size)) continue;
            expected[static_cast<size_t>(i) / 64] |= uint64_t{1} << i % 64;
            lengths.push_back(i + 1 - start);
            ++(i == start ? expectedCounts.singles : expectedCounts.runs);
            start = i + 1;
          }
          std::vector<uint64_t> ends(expected.size(), 0xa5a5a5a5a5a5a5a5);
          ASSERT_EQ((ops->*row.scan)(pixels, count, ends.data()), expectedCounts) << count;
          ASSERT_EQ(ends, expected) << count;
          std::vector<int> visited;
          rfb::forEachRun(ends.data(), count, [&](int start, int length) {
            EXPECT_EQ(start, std::accumulate(visited.begin(), visited.end(), 0));
            visited.push_back(length);
            return true;
          });
          ASSERT_EQ(visited, lengths);
        }
      }
    }
  }
}
