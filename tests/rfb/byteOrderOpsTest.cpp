#include "base/rfb/byteOrderOps.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <random>
#include <vector>

using rfb::ByteOrderOps;

namespace {

// A page between two that must not be touched.
class FencedPage {
 public:
  FencedPage() : size(static_cast<size_t>(sysconf(_SC_PAGESIZE))) {
    base = static_cast<uint8_t*>(
        mmap(nullptr, 3 * size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (base == MAP_FAILED || mprotect(base + size, size, PROT_READ | PROT_WRITE)) abort();
  }
  ~FencedPage() { munmap(base, 3 * size); }
  FencedPage(const FencedPage&) = delete;
  FencedPage& operator=(const FencedPage&) = delete;

  // `length` bytes, `gap` bytes away from the fence behind or before them.
  uint8_t* atEnd(size_t length, size_t gap) { return base + 2 * size - length - gap; }
  uint8_t* atStart(size_t gap) { return base + size + gap; }
  void fill(int byte) { memset(base + size, byte, size); }
  std::vector<uint8_t> content() const { return {base + size, base + 2 * size}; }

 private:
  size_t size;
  uint8_t* base;
};

}  // namespace

TEST(byteOrderOps, everyWidthAndAddressAgreesWithPlainAndTouchesTheRowOnly) {
  struct {
    void (*ByteOrderOps::*operation)(const uint8_t*, uint8_t*, size_t);
    size_t inBytes, outBytes;
  } table[] = {{&ByteOrderOps::expand24To32, 3, 4},
               {&ByteOrderOps::shrink32To24, 4, 3},
               {&ByteOrderOps::swapRedBlue32, 4, 4}};
  std::vector<const ByteOrderOps*> usable = rfb::usableByteOrderOps();
  std::mt19937 random(1);
  std::vector<uint8_t> source(4 * 200);
  for (uint8_t& byte : source) byte = static_cast<uint8_t>(random());
  FencedPage in, out, expected;
  for (const ByteOrderOps* ops : usable) {
    SCOPED_TRACE(ops->name);
    for (const auto& row : table) {
      for (size_t pixels = 0; pixels <= 200; ++pixels) {
        size_t inLength = pixels * row.inBytes, outLength = pixels * row.outBytes;
        for (size_t gap : {0, 1, 3, 5}) {
          for (bool end : {false, true}) {
            uint8_t* from = end ? in.atEnd(inLength, gap) : in.atStart(gap);
            memcpy(from, source.data(), inLength);
            out.fill(0xa5);
            expected.fill(0xa5);
            // The gap of the output differs, so that the two are aligned differently.
            size_t outGap = gap ? gap - 1 : 0;
            (ops->*row.operation)(from, end ? out.atEnd(outLength, outGap) : out.atStart(outGap),
                                  pixels);
            uint8_t* to = end ? expected.atEnd(outLength, outGap) : expected.atStart(outGap);
            for (size_t i = 0; i < pixels; ++i) {
              const uint8_t* pixel = source.data() + i * row.inBytes;
              uint8_t bytes[] = {pixel[2], pixel[1], pixel[0],
                                 row.inBytes == 4 ? pixel[3] : uint8_t{0}};
              memcpy(to + i * row.outBytes, bytes, row.outBytes);
            }
            ASSERT_EQ(out.content(), expected.content()) << pixels << " pixels, gap " << gap;
          }
        }
      }
    }
  }
}
