// Right pages with every kind of tile, written by other code than ours.
#include <algorithm>
#include <random>

#include "fuzz/fuzz.h"
#include "libs/pagefile/PageFileError.h"
#include "libs/pagefile/PageFileReader.h"
#include "tests/pagefile/PageBuilder.h"
#include "tests/support/streams.h"

namespace {

struct Page {
  uint32_t width, height;
  builder::Pixels pixels;
  std::string tiles;  // the plain bytes
  uint64_t subencodings[256] = {};
};

// Runs of random lengths; the input says of which subencoding each tile is.
Page makePage(fuzz::Input& input) {
  Page page{input.number<uint32_t>(1, 130), input.number<uint32_t>(1, 130), {}, {}};
  std::mt19937 random(input.anyNumber<uint16_t>());
  const uint32_t maxRun = 1u << input.number(0, 12);
  page.pixels.resize(size_t{page.width} * page.height);
  for (uint32_t top = 0; top < page.height; top += 64) {
    for (uint32_t left = 0; left < page.width; left += 64) {
      int subencoding = input.anyNumber<uint8_t>();
      if (subencoding > 16 && subencoding < 128) subencoding %= 17;
      if (subencoding == 129) subencoding = 128;
      const uint32_t width = std::min(64u, page.width - left);
      const size_t count = size_t{width} * std::min(64u, page.height - top);
      builder::Pixels palette(subencoding & 0x7f), tile;
      for (uint32_t& colour : palette) colour = random() & 0xffffff;
      while (tile.size() < count) {
        const uint32_t colour = random() & 0xffffff;
        tile.insert(tile.end(), 1 + random() % maxRun,
                    palette.empty() ? colour : palette[colour % palette.size()]);
      }
      tile.resize(count);
      page.tiles += builder::tile(tile, width, subencoding, palette);
      page.subencodings[subencoding]++;
      for (size_t i = 0; i < count; ++i) {
        page.pixels[(top + i / width) * page.width + left + i % width] = tile[i];
      }
    }
  }
  return page;
}

uint64_t frameCount(const std::string& file) {
  for (size_t at = 24, count = 1;; ++count) {
    const int head = static_cast<uint8_t>(file[at]) << 8 | static_cast<uint8_t>(file[at + 1]);
    if (head & 0x8000) return count;
    at += 2 + static_cast<size_t>(head);
  }
}

builder::Pixels read(pagefile::PageFileReader& reader) {
  builder::Pixels pixels;
  while (const pagefile::Band* band = reader.nextBand()) {
    PLAT_ASSERT(size_t{band->top} * reader.header().width == pixels.size());
    pixels.insert(pixels.end(), band->pixels,
                  band->pixels + size_t{band->rows} * reader.header().width);
  }
  PLAT_ASSERT(!reader.nextBand());
  return pixels;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const int window = input.number(1, 5000), level = input.number(0, 9);
  const bool isOneFrame = input.flag();
  const size_t frameSize = input.number<size_t>(1, 300), another = input.number<size_t>(0, 2);
  const auto cut = input.anyNumber<uint16_t>();
  const Page page = makePage(input);
  const std::vector<size_t> sizes{isOneFrame ? 32766 : frameSize, isOneFrame ? 32766 : another};
  const std::string zlib = builder::compress(page.tiles, level);
  const std::string file =
      builder::header(page.width, page.height) +
      builder::frames(builder::rectangle(page.width, page.height) + zlib, sizes);

  fakes::ChunkedIn source(file, window, 64);
  pagefile::PageFileReader reader(source);
  PLAT_ASSERT(read(reader) == page.pixels);
  const pagefile::PageCounts& counts = reader.counts();
  PLAT_ASSERT(std::equal(counts.subencodings, counts.subencodings + 256, page.subencodings));
  PLAT_ASSERT(counts.plainBytes == page.tiles.size());
  PLAT_ASSERT(counts.compressedBytes == zlib.size());
  PLAT_ASSERT(counts.frames == frameCount(file));

  // What is cut off fails where it ends.
  const size_t length = cut % file.size();
  fakes::ChunkedIn start(file.substr(0, length), window, 64);
  bool isCut = false;
  fuzz::isRefused([&] {
    try {
      pagefile::PageFileReader half(start);
      read(half);
    } catch (const pagefile::PageFileError& error) {
      isCut = error.offset == length;
      throw;
    }
  });
  PLAT_ASSERT(isCut);
  return 0;
}
