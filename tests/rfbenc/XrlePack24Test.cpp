#include "libs/rfbenc/XrlePack24.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(XrlePack24, anyNumberOfPixelsIsPackedWithoutTouchingMore) {
  for (const rfb::XrlePack24Ops* ops : rfb::usableXrlePack24Ops()) {
    SCOPED_TRACE(ops->name);
    for (size_t pixels = 0; pixels <= 70; ++pixels) {
      for (size_t gap : {0, 1, 2, 3}) {
        for (size_t first : {0, 1}) {
          // Memory of just the length, so that a sanitizer sees a byte too many.
          std::vector<uint8_t> in(gap + 4 * pixels);
          for (size_t i = 0; i < in.size(); ++i) in[i] = static_cast<uint8_t>(i * 7 + 1);
          std::vector<uint8_t> expected(gap + 3 * pixels + 8, 0xa5);
          std::vector<uint8_t> out = expected;
          for (size_t i = 0; i < pixels; ++i) {
            memcpy(expected.data() + gap + 3 * i, in.data() + gap + 4 * i + first, 3);
          }
          (first ? ops->packTrailing : ops->packLeading)(in.data() + gap, out.data() + gap,
                                                         static_cast<int>(pixels));
          ASSERT_EQ(out, expected) << pixels;
        }
      }
    }
  }
}
