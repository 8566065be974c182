#include "apps/common/PackedPage.h"

#include <algorithm>
#include <cstring>

#include "libs/pagefile/PageFileReader.h"

namespace png {

namespace {

bool isGrey(uint32_t colour) {
  return (colour & 0xff) * 0x010101 == colour;
}

// The fewest bits of which samples from 0 to the largest are evenly spread greys.
int bitsOfGreys(const std::vector<uint32_t>& colours) {
  for (int bits : {1, 2, 4}) {
    const uint32_t step = 255 / ((1u << bits) - 1);
    if (std::all_of(colours.begin(), colours.end(),
                    [&](uint32_t colour) { return (colour & 0xff) % step == 0; })) {
      return bits;
    }
  }
  return 8;
}

constexpr uint32_t blockSize = 64;  // pixels that are looked at together

bool areAlike(const uint32_t* block) {
  return memcmp(block, block + 1, (blockSize - 1) * sizeof *block) == 0;
}

// The sample of each of at most 256 colours.
class ColourTable {
 public:
  // That of a new colour is the number of those before it. -1: there are too many.
  int sampleOf(uint32_t colour) {
    for (uint32_t slot = colour * 0x9e3779b1u >> (32 - slotBits);; slot++) {
      uint16_t& entry = slots[slot % (1u << slotBits)];
      if (entry == 0) {
        if (known.size() == 256) return -1;
        known.push_back(colour);
        entry = static_cast<uint16_t>(known.size());
      }
      if (known[entry - 1u] == colour) return entry - 1;
    }
  }
  const std::vector<uint32_t>& colours() const { return known; }

 private:
  static constexpr int slotBits = 10;

  // Of a colour: its sample plus 1; 0 is free. Colours that meet in a slot take the next one.
  uint16_t slots[1 << slotBits] = {};
  std::vector<uint32_t> known;
};

class PagePacker {
 public:
  explicit PagePacker(uint32_t newWidth) : width(newWidth) {}

  void addRow(const uint32_t* pixels) {
    if (hasGivenUp) return;
    learn(pixels);
    if (hasGivenUp || rows.size() + rowBytes() > PackedPage::maxBytes) {
      hasGivenUp = true;
      rows.clear();
    } else if (bits == 1) {
      packTwoColours(pixels);
    } else {
      pack(pixels);
    }
  }

  PackedPage finish() {
    PackedPage page;
    if (hasGivenUp) return page;
    const std::vector<uint32_t>& colours = table.colours();
    page.form = {PictureForm::Kind::palette, bits, colours};
    if (std::all_of(colours.begin(), colours.end(), isGrey) && bitsOfGreys(colours) == bits) {
      page.form = {PictureForm::Kind::grey, bits, {}};
      turnGrey();
    }
    page.rows = std::move(rows);
    return page;
  }

 private:
  size_t rowBytes() const {
    return PictureForm{PictureForm::Kind::palette, bits, {}}.rowBytes(width);
  }
  unsigned mask() const { return (1u << bits) - 1; }

  // Has every colour of the row in the table, and as many bits as they need.
  void learn(const uint32_t* pixels) {
    uint32_t x = 0;
    for (; width - x >= blockSize; x += blockSize) {
      // Most pixels are like their neighbours, and else of the first two colours.
      const uint32_t count = areAlike(pixels + x) ? 1 : blockSize;
      bool others = false;
      for (uint32_t i = x; i < x + count; i++) {
        others |= (pixels[i] != first) & (pixels[i] != second);
      }
      if (others) learn(pixels + x, count);
    }
    learn(pixels + x, width - x);
    while (!hasGivenUp && table.colours().size() > mask() + 1u) widen();
  }

  void learn(const uint32_t* pixels, uint32_t count) {
    for (uint32_t i = 0; i < count && !hasGivenUp; i++) hasGivenUp = table.sampleOf(pixels[i]) < 0;
    setFirstTwo();
  }

  void setFirstTwo() {
    if (table.colours().empty()) return;
    first = table.colours().front();
    second = table.colours()[table.colours().size() > 1];
  }

  void packTwoColours(const uint32_t* pixels) {
    uint8_t* out = addRowBytes();
    uint32_t x = 0;
    for (; width - x >= blockSize; x += blockSize, out += blockSize / 8) {
      if (areAlike(pixels + x)) {
        memset(out, pixels[x] == first ? 0 : 0xff, blockSize / 8);
      } else {
        packTwoColours(pixels + x, blockSize, out);
      }
    }
    packTwoColours(pixels + x, width - x, out);
  }

  void packTwoColours(const uint32_t* pixels, uint32_t count, uint8_t* out) {
    for (uint32_t x = 0; x < count; x += 8) {
      const uint32_t some = std::min<uint32_t>(count - x, 8);
      unsigned byte = 0;
      for (uint32_t i = 0; i < some; i++) byte = byte << 1 | (pixels[x + i] != first);
      *out++ = static_cast<uint8_t>(byte << (8 - some));
    }
  }

  void pack(const uint32_t* pixels) {
    const uint32_t perByte = 8u / static_cast<unsigned>(bits);
    uint8_t* out = addRowBytes();
    uint32_t last = first;
    unsigned sample = 0;  // of that
    for (uint32_t x = 0; x < width; x += perByte) {
      unsigned byte = 0;
      for (uint32_t i = x; i < x + perByte; i++) {
        if (i < width && pixels[i] != last) {
          last = pixels[i];
          sample = static_cast<unsigned>(table.sampleOf(last));
        }
        byte = byte << bits | (i < width ? sample : 0);
      }
      *out++ = static_cast<uint8_t>(byte);
    }
  }

  uint8_t* addRowBytes() {
    rows.resize(rows.size() + rowBytes());
    return rows.data() + rows.size() - rowBytes();
  }

  // Twice as many bits a sample, in the rows so far too.
  void widen() {
    hasGivenUp = rows.size() > PackedPage::maxBytes / 2;
    if (hasGivenUp) return;
    const size_t oldRowBytes = rowBytes();
    const std::vector<uint8_t> old = std::move(rows);
    const int oldBits = bits;
    bits *= 2;
    rows.clear();
    for (size_t at = 0; at < old.size(); at += oldRowBytes) {
      for (size_t i = 0; i < rowBytes(); i++) {
        // Each old byte makes two.
        const unsigned half = i % 2 ? old[at + i / 2] & 15u : old[at + i / 2] >> 4;
        unsigned byte = 0;
        for (int shift = 4 - oldBits; shift >= 0; shift -= oldBits) {
          byte = byte << bits | (half >> shift & ((1u << oldBits) - 1));
        }
        rows.push_back(static_cast<uint8_t>(byte));
      }
    }
  }

  // From numbers of colours to shades. Unused bits become what they may.
  void turnGrey() {
    uint8_t shades[256];
    for (unsigned byte = 0; byte < 256; byte++) {
      unsigned shade = 0;
      for (int shift = 8 - bits; shift >= 0; shift -= bits) {
        const size_t sample = byte >> shift & mask();
        const uint32_t colour = sample < table.colours().size() ? table.colours()[sample] : 0;
        shade = shade << bits | (colour & 0xff) >> (8 - bits);
      }
      shades[byte] = static_cast<uint8_t>(shade);
    }
    for (uint8_t& byte : rows) byte = shades[byte];
  }

  uint32_t width;
  int bits = 1;
  ColourTable table;
  uint32_t first = UINT32_MAX, second = UINT32_MAX;  // colours, once they are known
  std::vector<uint8_t> rows;
  bool hasGivenUp = false;
};

}  // namespace

size_t PictureForm::rowBytes(uint32_t width) const {
  if (kind == Kind::rgb) return size_t{width} * 3;
  return (size_t{width} * static_cast<size_t>(bits) + 7) / 8;
}

PackedPage packPage(pagefile::PageFileReader& page) {
  PagePacker packer(page.header().width);
  while (const pagefile::Band* band = page.nextBand()) {
    for (uint32_t y = 0; y < band->rows; y++) {
      packer.addRow(band->pixels + size_t{y} * page.header().width);
    }
  }
  return packer.finish();
}

void fillRgbRow(const uint32_t* pixels, uint32_t width, uint8_t* row) {
  for (uint32_t x = 0; x < width; x++) {
    *row++ = static_cast<uint8_t>(pixels[x] >> 16);
    *row++ = static_cast<uint8_t>(pixels[x] >> 8);
    *row++ = static_cast<uint8_t>(pixels[x]);
  }
}

}  // namespace png
