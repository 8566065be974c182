#include "libs/pagefile/PageFileReader.h"

#include <gtest/gtest.h>

#include <random>

#include "base/rdr/MemInStream.h"
#include "libs/pagefile/PageFileError.h"
#include "tests/pagefile/PageBuilder.h"
#include "tests/support/streams.h"

using builder::bytes;
using builder::Pixels;

namespace {

struct Decoded {
  Pixels pixels;
  pagefile::PageCounts counts;
};

Decoded decode(rdr::InStream& source) {
  pagefile::PageFileReader reader(source);
  Decoded decoded;
  uint32_t rows = 0;
  while (const pagefile::Band* band = reader.nextBand()) {
    EXPECT_EQ(band->top, rows);
    rows += band->rows;
    decoded.pixels.insert(decoded.pixels.end(), band->pixels,
                          band->pixels + size_t{band->rows} * reader.header().width);
  }
  EXPECT_EQ(rows, reader.header().width ? reader.header().height : 0);
  EXPECT_EQ(reader.nextBand(), nullptr);
  decoded.counts = reader.counts();
  return decoded;
}

Decoded decode(const std::string& file) {
  rdr::MemInStream in(file.data(), static_cast<int>(file.size()));
  return decode(in);
}

// "<offset>: <reason>", or "" for a right page.
template <class Source>
std::string failureOf(Source&& source) {
  try {
    decode(source);
  } catch (const pagefile::PageFileError& error) {
    return std::to_string(error.offset) + ": " + error.message;
  }
  return "";
}

// A page in which every tile takes the next of the subencodings, with runs of random
// lengths, together with the pixels that it must give.
struct Sample {
  Sample(size_t width, size_t height, const std::vector<int>& subencodings, size_t maxRun)
      : pixels(width * height) {
    std::mt19937 random(static_cast<unsigned>(width * 1000 + height));
    size_t next = 0;
    for (size_t top = 0; top < height; top += 64) {
      for (size_t left = 0; left < width; left += 64) {
        const int subencoding = subencodings[next++ % subencodings.size()];
        const size_t tileWidth = std::min<size_t>(64, width - left);
        const size_t tileHeight = std::min<size_t>(64, height - top);
        Pixels palette(subencoding & 0x7f), tile;
        for (uint32_t& colour : palette) colour = random() & 0xffffff;
        while (tile.size() < tileWidth * tileHeight) {
          const uint32_t colour = random() & 0xffffff;
          tile.insert(tile.end(), 1 + random() % maxRun,
                      palette.empty() ? colour : palette[colour % palette.size()]);
        }
        tile.resize(tileWidth * tileHeight);
        tiles += builder::tile(tile, tileWidth, subencoding, palette);
        for (size_t i = 0; i < tile.size(); ++i) {
          pixels[(top + i / tileWidth) * width + left + i % tileWidth] = tile[i];
        }
      }
    }
    file = builder::page(static_cast<uint32_t>(width), static_cast<uint32_t>(height), tiles);
  }

  Pixels pixels;
  std::string tiles;  // the plain bytes
  std::string file;
};

const std::vector<int> someOfAll{0, 1, 2, 3, 4, 5, 16, 128, 130, 131, 144, 145, 254, 255};

}  // namespace

TEST(PageFileReader, sizesAroundTheTileGiveTheirPixels) {
  const size_t sizes[] = {1, 2, 7, 8, 9, 63, 64, 65, 129};
  for (size_t width : sizes) {
    for (size_t height : sizes) {
      Sample sample(width, height, someOfAll, 20);
      EXPECT_TRUE(decode(sample.file).pixels == sample.pixels) << width << " x " << height;
    }
  }
}

TEST(PageFileReader, everySubencodingGivesItsPixelsAndIsCounted) {
  for (int subencoding = 0; subencoding < 256; ++subencoding) {
    if ((subencoding > 16 && subencoding < 128) || subencoding == 129) continue;
    SCOPED_TRACE(subencoding);
    for (size_t maxRun : {3, 1100}) {
      Sample sample(67, 65, {subencoding}, maxRun);
      Decoded decoded = decode(sample.file);
      EXPECT_TRUE(decoded.pixels == sample.pixels);
      EXPECT_EQ(decoded.counts.subencodings[subencoding], 4u);
      EXPECT_EQ(decoded.counts.plainBytes, sample.tiles.size());
      EXPECT_EQ(decoded.counts.compressedBytes, sample.file.size() - 24 - 2 - 10);
    }
  }
}

TEST(PageFileReader, runsOfEveryLengthGiveTheirPixels) {
  for (size_t length : {1, 2, 3, 254, 255, 256, 257, 510, 511, 512, 4095}) {
    for (int subencoding : {128, 130}) {
      Pixels pixels(4096, 7);
      std::fill_n(pixels.begin(), length, 0);
      const std::string tile = builder::tile(pixels, 64, subencoding, {0, 7});
      EXPECT_TRUE(decode(builder::page(64, 64, tile)).pixels == pixels) << length;
    }
  }
}

TEST(PageFileReader, framesAndArrivalMayCutAnywhere) {
  Sample sample(130, 70, someOfAll, 5);
  std::string message =
      builder::rectangle(130, 70) + builder::compress(sample.tiles, Z_BEST_COMPRESSION);
  const std::vector<size_t> cuts[] = {{1}, {2, 0, 1}, {0, 0, 1000}, {message.size(), 0}};
  for (const std::vector<size_t>& sizes : cuts) {
    for (int window : {1, 2, 3, 17, 5000}) {
      fakes::ChunkedIn in(builder::header(130, 70) + builder::frames(message, sizes), window, 64);
      EXPECT_TRUE(decode(in).pixels == sample.pixels) << sizes[0] << ".. and " << window;
    }
  }
}

// Beyond 16 bits, with matches whose output outlasts their last byte of input.
TEST(PageFileReader, pageWiderThanTheRectangleHeaderCanSayIsRead) {
  std::string tiles;
  Pixels pixels(65537);
  for (int i = 0; i < 1025; ++i) {
    tiles += bytes({1, i / 300, 0x22, 0x33});
    for (int x = 64 * i; x < 64 * i + 64 && x < 65537; ++x) pixels[x] = 0x332200 + i / 300;
  }
  EXPECT_TRUE(decode(builder::page(65537, 1, tiles, Z_BEST_COMPRESSION)).pixels == pixels);
}

TEST(PageFileReader, emptyPageHasNoTilesAndNoZlibData) {
  const uint32_t sizes[][2] = {{0, 0}, {0, 70}, {100, 0}};
  for (const auto& [width, height] : sizes) {
    std::string empty =
        builder::header(width, height) + builder::frames(builder::rectangle(width, height), {3});
    EXPECT_TRUE(decode(empty).pixels.empty());
    EXPECT_EQ(failureOf(empty + "x").find(std::to_string(empty.size()) + ": "), 0u);
    // A frame header of its own comes before the zlib data.
    EXPECT_EQ(failureOf(builder::page(width, height, "", 6, {10})).find("38: "), 0u);
  }
}

TEST(PageFileReader, everyCutFileFailsAtItsEnd) {
  Sample sample(70, 66, someOfAll, 9);
  const std::string file = builder::page(70, 66, sample.tiles, 6, {40, 1, 700});
  for (size_t length = 0; length < file.size(); ++length) {
    const std::string failure = failureOf(file.substr(0, length));
    EXPECT_EQ(failure.find(std::to_string(length) + ": "), 0u) << failure;
  }
}

TEST(PageFileReader, headersWithWrongValuesFailAtThem) {
  const std::string good = builder::page(4, 4, bytes({1, 0, 0, 0}));
  struct {
    size_t at;
    std::string with;
    int offset;
  } const cases[] = {
      {0, builder::be32(0x20000000), 0},                     // width
      {4, builder::be32(0x20000000), 4},                     // height
      {0, builder::be32(0x1fffffff) + builder::be32(2), 0},  // one band too big
      {20, builder::be32(2), 20},                            // the constant
      {24, builder::be16(0xffff), 24},                       // a frame of 32767 bytes
      {26, builder::be16(0x0010), 26},                       // encoding
      {28, builder::be16(1), 28},  // left, top, width, height of the rectangle
      {30, builder::be16(1), 30},
      {32, builder::be16(5), 32},
      {34, builder::be16(5), 34},
      {36, bytes({0x78, 0x00}), 37},    // zlib header's check bits
      {36, bytes({0x78, 0xbb}), 41},    // asks for a dictionary
      {24, builder::be16(0x8004), 30},  // the message ends within the rectangle
  };
  for (const auto& c : cases) {
    std::string file = good;
    file.replace(c.at, c.with.size(), c.with);
    const std::string failure = failureOf(file);
    EXPECT_EQ(failure.find(std::to_string(c.offset) + ": "), 0u) << c.at << ": " << failure;
  }
}

// Stored deflate blocks show where each tile byte lies in the file.
TEST(PageFileReader, brokenTilesFailAtTheByte) {
  struct {
    std::string tile;  // of 10 x 2 pixels
    int faultyByte;
    const char* reason;
  } const cases[] = {
      {bytes({17}), 0, "unknown subencoding 17"},
      {bytes({127}), 0, "unknown subencoding 127"},
      {bytes({129}), 0, "unknown subencoding 129"},
      {bytes({3, 0, 0, 0, 1, 1, 1, 2, 2, 2, 0x06, 0x00, 0x30}), 12, "colour 3 of a palette of 3"},
      {bytes({5}) + std::string(15, 1) + bytes({0x04, 0x50}), 17, "colour 5 of a palette of 5"},
      {bytes({2, 0, 0, 0, 1, 1, 1, 0xff, 0xc0, 0xff, 0xe0}), 10, "bits outside the tile"},
      {bytes({130, 0, 0, 0, 1, 1, 1, 0, 1, 2}), 9, "colour 2 of a palette of 2"},
      {bytes({130, 0, 0, 0, 1, 1, 1, 0x82, 0}), 7, "colour 2 of a palette of 2"},
      {bytes({130, 0, 0, 0, 1, 1, 1, 0x81, 20}), 8, "a run of 21 pixels or more where 20 are left"},
      {bytes({128, 0, 0, 0, 18, 1, 1, 1, 1}), 8, "a run of 2 pixels or more where 1 are left"},
      {bytes({128, 0, 0, 0, 255, 255}), 4, "a run of 256 pixels or more where 20 are left"},
  };
  for (const auto& c : cases) {
    for (bool byteFrames : {false, true}) {
      const std::vector<size_t> sizes{byteFrames ? 1u : 32766u};
      const std::string failure =
          failureOf(builder::page(10, 2, c.tile + std::string(200, '\0'), 0, sizes));
      // Behind the page's, the frame's, the rectangle's, the zlib and the block header.
      int offset = 24 + 2 + 10 + 2 + 5 + c.faultyByte;
      if (byteFrames) offset = 24 + 3 * (offset - 26) + 2;
      EXPECT_EQ(failure.find(std::to_string(offset) + ": "), 0u) << c.reason << failure;
      EXPECT_NE(failure.find(c.reason), std::string::npos) << failure;
    }
  }
}

TEST(PageFileReader, tooMuchAndTooLittleIsRefused) {
  const std::string tile = bytes({1, 1, 2, 3}), two = builder::compress(tile + tile);
  auto file = [](const std::string& zlib) {
    return builder::header(8, 70) + builder::frames(builder::rectangle(8, 70) + zlib);
  };
  // Sync flushes on the way are right.
  EXPECT_EQ(failureOf(file(two + bytes({0, 0, 0, 0xff, 0xff, 0, 0, 0, 0xff, 0xff}))), "");
  const std::pair<std::string, const char*> cases[] = {
      {file(""), "the message ends within the tile at 0,0"},
      {file(builder::compress(tile)), "the message ends within the tile at 0,64"},
      {file(two) + '\0', "data behind the last frame"},
      {file(builder::compress(tile + tile + tile)), "data behind the last tile"},
      {file(builder::compress(tile + tile, 6, Z_FINISH)), "closed instead of flushed"},
      {file(builder::compress(tile + tile, 6, Z_PARTIAL_FLUSH)), "does not end with a sync flush"},
      {file(two.substr(0, two.size() - 1)), "does not end with a sync flush"},
      {file(two + bytes({0, 1, 0, 0xff, 0xff})), "bad zlib data: invalid"},
      {file(two + bytes({2, 0, 0, 0xff, 0xff})), "does not end with a sync flush"},
  };
  for (const auto& [page, reason] : cases) {
    EXPECT_NE(failureOf(page).find(reason), std::string::npos) << reason << failureOf(page);
  }
}

TEST(PageFileReader, anyChangedBitIsReadOrRefused) {
  Sample sample(66, 66, {4, 131, 128, 0}, 40);
  const std::string file = builder::page(66, 66, sample.tiles, 6, {50});
  int refused = 0;
  for (size_t bit = 0; bit < file.size() * 8; ++bit) {
    std::string changed = file;
    changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1 << (bit % 8)));
    const std::string failure = failureOf(changed);
    refused += !failure.empty();
    EXPECT_LE(atol(failure.c_str()), static_cast<long>(file.size())) << failure;
  }
  EXPECT_GT(refused, 0);
}

// As if every byte were 256 MiB: positions wrap after 16 bytes.
TEST(PageFileReader, offsetsGoBeyondThePositionsOfStreams) {
  struct HugeIn : rdr::MemInStream {
    using MemInStream::MemInStream;
    int pos() const override {
      return static_cast<int>(static_cast<unsigned>(MemInStream::pos()) << 28);
    }
  };
  const std::string file = builder::page(4, 4, bytes({0}) + std::string(48, 'x'), 0, {8});
  HugeIn in(file.data(), 60);
  EXPECT_EQ(failureOf(in).find(std::to_string(uint64_t{60} << 28) + ": "), 0u);
}
