// What is wrong with a page, and where. Right pages of every kind are in fuzz/pages.cpp.
#include "libs/pagefile/PageFileReader.h"

#include <gtest/gtest.h>

#include "base/plat/DString.h"
#include "base/rdr/MemInStream.h"
#include "libs/pagefile/PageFileError.h"
#include "tests/pagefile/PageBuilder.h"

using namespace builder;

namespace {

// "byte <offset>: <reason>", or "" for a right page.
std::string failureOf(rdr::InStream& source, Pixels* pixels = nullptr) {
  try {
    pagefile::PageFileReader reader(source);
    while (const pagefile::Band* band = reader.nextBand()) {
      const uint32_t* const end = band->pixels + size_t{band->rows} * reader.header().width;
      if (pixels) pixels->insert(pixels->end(), band->pixels, end);
    }
  } catch (const pagefile::PageFileError& error) {
    EXPECT_EQ(atoll(error.message + strlen("byte ")), static_cast<int64_t>(error.offset));
    return error.message;
  }
  return "";
}

std::string failureOf(const std::string& file, Pixels* pixels = nullptr) {
  rdr::MemInStream in(file.data(), static_cast<int>(file.size()));
  return failureOf(in, pixels);
}

std::string twoTiles(const std::string& zlib) {
  return header(8, 70) + frames(rectangle(8, 70) + zlib);
}

}  // namespace

// Beyond 16 bits, with matches whose output outlasts their last byte of input.
TEST(PageFileReader, pageWiderThanTheRectangleHeaderCanSayIsRead) {
  std::string tiles;
  for (int i = 0; i < 1025; ++i) tiles += bytes({1, 0x11, 0x22, 0x33});
  Pixels pixels;
  EXPECT_EQ(failureOf(page(65537, 1, tiles, Z_BEST_COMPRESSION), &pixels), "");
  EXPECT_TRUE(pixels == Pixels(65537, 0x332211));
}

TEST(PageFileReader, emptyPageHasNoTilesAndNoZlibData) {
  const uint32_t sizes[][2] = {{0, 0}, {0, 70}, {100, 0}};
  for (const auto& [width, height] : sizes) {
    std::string empty = header(width, height) + frames(rectangle(width, height), {3});
    EXPECT_EQ(failureOf(empty), "");
    EXPECT_EQ(failureOf(empty + "x"), "byte 42: data behind the last frame");
    // A frame header of its own comes before the zlib data.
    EXPECT_EQ(failureOf(page(width, height, "", 6, {10})),
              "byte 38: data in the message of an empty page");
  }
}

TEST(PageFileReader, headersWithWrongValuesFailAtThem) {
  struct {
    size_t at;
    std::string with;
    const char* failure;
  } const cases[] = {
      {0, be32(0x20000000), "byte 0: width is 536870912"},
      {4, be32(0x20000000), "byte 4: height is 536870912"},
      {0, be32(0x1fffffff) + be32(2), "byte 0: a page of 536870911 x 2 pixels is too wide"},
      {20, be32(2), "byte 20: the constant 1 is 2"},
      {24, be16(0xffff), "byte 24: a frame of 32767 bytes"},
      {26, be16(0x0010), "byte 26: the rectangle's encoding is 0x10 instead of 0x8010"},
      {28, be16(1), "byte 28: the rectangle's left is 0x1 instead of 0"},
      {30, be16(1), "byte 30: the rectangle's top is 0x1 instead of 0"},
      {32, be16(5), "byte 32: the rectangle's width is 0x5 instead of 0x8"},
      {34, be16(5), "byte 34: the rectangle's height is 0x5 instead of 0x46"},
      {36, bytes({0x78, 0x00}), "byte 37: bad zlib data: incorrect header check"},
      {36, bytes({0x78, 0xbb}), "byte 41: the zlib stream needs a dictionary"},
      {24, be16(0x8004), "byte 30: the message ends within the rectangle header"}};
  for (const auto& c : cases) {
    const std::string tile = bytes({1, 0, 0, 0});
    EXPECT_EQ(failureOf(twoTiles(compress(tile + tile)).replace(c.at, c.with.size(), c.with)),
              c.failure);
  }
  EXPECT_EQ(failureOf(std::string(23, 0)), "byte 23: the file ends within its header");
  EXPECT_EQ(failureOf(header(1, 1)), "byte 24: the file ends within its message");
}

// Stored deflate blocks show where each tile byte lies in the file.
TEST(PageFileReader, brokenTilesFailAtTheByte) {
  struct {
    std::string tile;  // of 10 x 2 pixels
    int faultyByte;
    const char* reason;
  } const cases[] = {
      {bytes({17}), 0, "unknown subencoding 17"},
      {bytes({129}), 0, "unknown subencoding 129"},
      {bytes({3, 0, 0, 0, 1, 1, 1, 2, 2, 2, 0x06, 0x00, 0x30}), 12, "colour 3 of a palette of 3"},
      {bytes({5}) + std::string(15, 1) + bytes({0x04, 0x50}), 17, "colour 5 of a palette of 5"},
      {bytes({2, 0, 0, 0, 1, 1, 1, 0xff, 0xc0, 0xff, 0xe0}), 10, "bits outside the tile are set"},
      {bytes({130, 0, 0, 0, 1, 1, 1, 0, 1, 2}), 9, "colour 2 of a palette of 2"},
      {bytes({130, 0, 0, 0, 1, 1, 1, 0x82, 0}), 7, "colour 2 of a palette of 2"},
      {bytes({130, 0, 0, 0, 1, 1, 1, 0x81, 20}), 8, "a run of 21 pixels or more where 20 are left"},
      {bytes({128, 0, 0, 0, 18, 1, 1, 1, 1}), 8, "a run of 2 pixels or more where 1 are left"},
      {bytes({128, 0, 0, 0, 255, 255}), 4, "a run of 256 pixels or more where 20 are left"}};
  for (const auto& c : cases) {
    for (size_t frameSize : {1, 32766}) {
      // Behind the page's, the frame's, the rectangle's, the zlib and the block header.
      int offset = 24 + 2 + 10 + 2 + 5 + c.faultyByte;
      if (frameSize == 1) offset = 24 + 3 * (offset - 26) + 2;
      const plat::String expected = plat::strFormat("byte %d: %s (tile at 0,0, inflated byte %d)",
                                                    offset, c.reason, c.faultyByte);
      EXPECT_EQ(failureOf(page(10, 2, c.tile + std::string(200, 0), 0, {frameSize})),
                expected.get());
    }
  }
}

TEST(PageFileReader, tooMuchAndTooLittleIsRefused) {
  const std::string tile = bytes({1, 1, 2, 3}), two = compress(tile + tile);
  // Sync flushes on the way are right.
  EXPECT_EQ(failureOf(twoTiles(two + bytes({0, 0, 0, 0xff, 0xff, 0, 0, 0, 0xff, 0xff}))), "");
  const std::pair<std::string, const char*> cases[] = {
      {twoTiles(""), "the message ends within the tile at 0,0"},
      {twoTiles(compress(tile)), "the message ends within the tile at 0,64"},
      {twoTiles(compress(tile + tile + tile)), "data behind the last tile"},
      {twoTiles(compress(tile + tile, 6, Z_FINISH)),
       "the zlib stream is closed instead of flushed"},
      {twoTiles(two.substr(0, two.size() - 1)), "the zlib data does not end with a sync flush"},
      {twoTiles(two + bytes({0, 1, 0, 0xff, 0xff})), "bad zlib data: invalid stored block lengths"},
      {twoTiles(two + bytes({2, 0, 0, 0xff, 0xff})),
       "the zlib data does not end with a sync flush"}};
  for (const auto& [file, reason] : cases) {
    const std::string failure = failureOf(file);
    EXPECT_EQ(failure.substr(failure.find(": ") + 2), reason);
  }
}

// As if every byte were 256 MiB: positions wrap after 16 bytes.
TEST(PageFileReader, offsetsGoBeyondThePositionsOfStreams) {
  struct HugeIn : rdr::MemInStream {
    using MemInStream::MemInStream;
    int pos() const override {
      return static_cast<int>(static_cast<unsigned>(MemInStream::pos()) << 28);
    }
  };
  const std::string file = page(4, 4, bytes({0}) + std::string(48, 'x'), 0, {8});
  HugeIn in(file.data(), 60);
  EXPECT_EQ(failureOf(in),
            plat::strFormat("byte %llu: the file ends within its message", 60ull << 28).get());
}
