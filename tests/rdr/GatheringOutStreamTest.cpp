#include "base/rdr/GatheringOutStream.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "base/rdr/MemOutStream.h"
#include "tests/support/streams.h"

using fakes::bytesOf;
using fakes::patternBytes;
using fakes::thrownBy;

TEST(GatheringOutStream, passesOnWhatDoesNotFitAndKeepsTheOrder) {
  constexpr int size = 8;
  const std::string bytes = patternBytes(40);
  for (int piece = 1; piece <= 2 * size + 1; piece++) {
    SCOPED_TRACE(piece);
    rdr::MemOutStream below;
    rdr::GatheringOutStream out(&below, size);
    for (int at = 0; at < 40; at += piece) out.writeBytes(&bytes[at], std::min(piece, 40 - at));
    EXPECT_EQ(out.length(), 40);
    EXPECT_EQ(bytesOf(below), bytes.substr(0, bytesOf(below).size()));
    EXPECT_LE(40 - below.length(), size);
    out.flush();
    EXPECT_EQ(bytesOf(below), bytes);

    // What is forgotten counts, but does not arrive.
    out.writeBytes("gone", 4);
    out.drop();
    out.passOn();
    EXPECT_EQ(out.length(), 44);
    EXPECT_EQ(below.length(), 40);
    EXPECT_EQ(out.overrun(size, 3), 1);
    EXPECT_EQ(thrownBy([&] { out.overrun(size + 1, 1); }),
              ": GatheringOutStream overrun: max itemSize exceeded");
  }
}
