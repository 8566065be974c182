#include "base/rfb/byteOrderOps.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

using rfb::ByteOrderOps;

TEST(byteOrderOps, everyWidthAndAddressAgreesWithPlainAndTouchesTheRowOnly) {
  struct {
    void (*ByteOrderOps::*operation)(const uint8_t*, uint8_t*, size_t);
    size_t inBytes, outBytes;
  } table[] = {{&ByteOrderOps::expand24To32, 3, 4},
               {&ByteOrderOps::shrink32To24, 4, 3},
               {&ByteOrderOps::swapRedBlue32, 4, 4}};
  for (const ByteOrderOps* ops : rfb::usableByteOrderOps()) {
    for (const auto& row : table) {
      for (size_t pixels = 0; pixels <= 200; ++pixels) {
        for (size_t gap : {0, 1, 3, 5}) {
          // Memory of just the length, so that a sanitizer sees a byte too many. The gap of the
          // output differs, so that the two are aligned differently.
          const size_t outGap = gap ? gap - 1 : 0;
          std::vector<uint8_t> in(gap + pixels * row.inBytes);
          for (size_t i = 0; i < in.size(); ++i) in[i] = static_cast<uint8_t>(i * 7 + 1);
          std::vector<uint8_t> out(outGap + pixels * row.outBytes + 64, 0xa5), expected = out;
          for (size_t i = 0; i < pixels; ++i) {
            const uint8_t* pixel = in.data() + gap + i * row.inBytes;
            uint8_t bytes[] = {pixel[2], pixel[1], pixel[0], uint8_t{0}};
            if (row.inBytes == 4) bytes[3] = pixel[3];
            memcpy(expected.data() + outGap + i * row.outBytes, bytes, row.outBytes);
          }
          (ops->*row.operation)(in.data() + gap, out.data() + outGap, pixels);
          ASSERT_EQ(out, expected) << ops->name << ", " << pixels << " pixels, gap " << gap;
        }
      }
    }
  }
}
