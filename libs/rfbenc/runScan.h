#pragma once

#include <bit>
#include <cstdint>
#include <vector>

namespace rfb {

// Pixels in a row form runs of equal ones.
struct RunCounts {
  int singles;  // runs of one pixel
  int runs;     // longer ones

  bool operator==(const RunCounts&) const = default;
};

// Finds the runs of `count` pixels of 1, 2 or 4 bytes at any address: sets bit i % 64 of
// ends[i / 64] where pixel i differs from pixel i + 1, so that a run ends, and clears the
// other bits of the words that have any pixel. The pixel behind the last is read too and
// differs from it.
struct RunScanOps {
  const char* name;
  RunCounts (*scan8)(const uint8_t* pixels, int count, uint64_t* ends);
  RunCounts (*scan16)(const uint8_t* pixels, int count, uint64_t* ends);
  RunCounts (*scan32)(const uint8_t* pixels, int count, uint64_t* ends);
};

// The fastest that this processor has.
const RunScanOps& runScanOps();

// All that this processor has: the plain one first, the fastest last.
std::vector<const RunScanOps*> usableRunScanOps();

// Calls visit(start, length) for each run until it returns false.
template <class Visit>
void forEachRun(const uint64_t* ends, int count, Visit visit) {
  int start = 0;
  for (int base = 0; base < count; base += 64, ++ends) {
    for (uint64_t bits = *ends; bits != 0; bits &= bits - 1) {
      const int next = base + std::countr_zero(bits) + 1;
      if (!visit(start, next - start)) return;
      start = next;
    }
  }
}

}  // namespace rfb
