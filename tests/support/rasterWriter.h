#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace test {

// A page of a CUPS raster document as its header fields tell; they may lie.
struct RasterPage {
  uint32_t width = 1;
  uint32_t height = 1;
  uint32_t bytesPerLine = 3;
  uint32_t bitsPerColor = 8;
  uint32_t bitsPerPixel = 24;
  uint32_t colorSpace = 1;
  uint32_t resolution[2] = {300, 300};
  uint32_t pageSize[2] = {595, 842};
  std::string lines = {};
};

// Calls field(offset, member) for each of them and its place in the page header.
template <class Page, class Field>
void eachHeaderField(Page& page, Field field) {
  field(276, page.resolution[0]);
  field(280, page.resolution[1]);
  field(352, page.pageSize[0]);
  field(356, page.pageSize[1]);
  field(372, page.width);
  field(376, page.height);
  field(384, page.bitsPerColor);
  field(388, page.bitsPerPixel);
  field(392, page.bytesPerLine);
  field(400, page.colorSpace);
}

constexpr size_t headerBytes = 420, headerBytesSince2 = 1796;

// Random lines with `padding` bytes behind each.
RasterPage randomPage(uint32_t width, uint32_t height, uint32_t padding = 0, uint32_t seed = 1);

// syncWord gives version and byte order: "RaSt" and "tSaR" (version 1), "RaS3" and "3SaR"
// (version 3), "RaS2" and "2SaR" (version 2, compressed). The first is big-endian.
std::string rasterStream(const std::string& syncWord, const std::vector<RasterPage>& pages);

}  // namespace test
