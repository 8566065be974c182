#include "base/rfb/byteOrderOps.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

TEST(byteOrderOps, everyWidthAndAddressTouchesTheRowOnly) {
  struct Row {
    std::string name;
    rfb::ByteOrderOp convert;
    size_t inBytes, outBytes;
  };
  std::vector<Row> table{{"shrink", rfb::shrink32To24(), 4, 3},
                         {"swap", rfb::swapRedBlue32(), 4, 4}};
  for (const rfb::Expand24To32& version : rfb::usableExpand24To32()) {
    table.push_back({version.name, version.convert, 3, 4});
  }
  for (const Row& row : table) {
    for (size_t pixels = 0; pixels <= 70; ++pixels) {
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
        row.convert(in.data() + gap, out.data() + outGap, pixels);
        ASSERT_EQ(out, expected) << row.name << ", " << pixels << " pixels, gap " << gap;
      }
    }
  }
}
