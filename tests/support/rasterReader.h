#pragma once

#include <istream>
#include <stdexcept>
#include <string>

#include "tests/support/rasterWriter.h"

namespace test {

// Reads uncompressed CUPS raster streams (versions 1 and 3) in either byte order, one or
// several behind each other, a line at a time. Throws std::runtime_error at damage.
class RasterReader {
 public:
  explicit RasterReader(std::istream& newSource) : source(newSource) {}

  // False at the end. All lines of the page before have been read; page.lines stays empty.
  bool nextPage(RasterPage& page) {
    std::string start(4, '\0');
    if (!source.read(start.data(), 4)) return false;
    while (start == "RaSt" || start == "tSaR" || start == "RaS3" || start == "3SaR") {
      bigEndian = start.front() == 'R';
      bool version1 = (bigEndian ? start.back() : start.front()) == 't';
      size = version1 ? headerBytes : headerBytesSince2;
      if (!source.read(start.data(), 4)) return false;
    }
    if (size == 0) throw std::runtime_error("no sync word of uncompressed raster");
    std::string header = start + take(size - start.size());
    page = {};
    eachHeaderField(page, [&](size_t offset, uint32_t& value) {
      value = 0;
      for (size_t i = 0; i < 4; ++i) {
        value = value << 8 | static_cast<uint8_t>(header[offset + (bigEndian ? i : 3 - i)]);
      }
    });
    bytesPerLine = page.bytesPerLine;
    return true;
  }

  std::string nextLine() { return take(bytesPerLine); }

 private:
  std::string take(size_t count) {
    std::string bytes(count, '\0');
    source.read(bytes.data(), static_cast<std::streamsize>(count));
    if (!source) throw std::runtime_error("the raster is cut off");
    return bytes;
  }

  std::istream& source;
  bool bigEndian = true;
  size_t size = 0;  // of a page header
  size_t bytesPerLine = 0;
};

}  // namespace test
