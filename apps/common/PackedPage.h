#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace pagefile {
class PageFileReader;
}

namespace png {

// How the pixels of a picture, 0x00RRGGBB, are kept as samples: exactly, and in as few bits as
// their colours need.
struct PictureForm {
  enum class Kind { grey, palette, rgb };

  Kind kind = Kind::rgb;
  int bits = 8;                   // of a sample: 1, 2, 4 or 8; rgb: 8, three of them a pixel
  std::vector<uint32_t> palette;  // kind palette: the colours, in the order of their samples

  // Of one row of samples, whose last byte may have unused bits.
  size_t rowBytes(uint32_t width) const;
};

// A page of at most 256 colours, in memory: its rows of samples, the first sample in the highest
// bits of its byte. Of a page with more colours, or of more than maxBytes, only the form is here,
// which is then rgb.
struct PackedPage {
  static constexpr size_t maxBytes = size_t{128} << 20;

  PictureForm form;
  std::vector<uint8_t> rows;
};

// Reads the page to its end. Throws what PageFileReader throws.
PackedPage packPage(pagefile::PageFileReader& page);

// A row in the form rgb.
void fillRgbRow(const uint32_t* pixels, uint32_t width, uint8_t* row);

}  // namespace png
