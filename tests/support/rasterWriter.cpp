#include "tests/support/rasterWriter.h"

#include <random>

namespace test {

namespace {

std::string pageHeader(const RasterPage& page, bool bigEndian, size_t bytes) {
  std::string header(bytes, '\0');
  auto put = [&](size_t offset, uint32_t value) {
    for (size_t i = 0; i < 4; ++i) {
      header[offset + (bigEndian ? 3 - i : i)] = static_cast<char>(value >> (8 * i));
    }
  };
  eachHeaderField(page, put);
  if (bytes > headerBytes) put(420, page.bitsPerPixel / page.bitsPerColor);  // cupsNumColors
  return header;
}

// Every line stands for itself and every pixel is a run of one.
std::string compressed(const RasterPage& page) {
  std::string data;
  for (size_t i = 0; i < page.lines.size(); i += 3) {
    if (i % page.bytesPerLine == 0) data += '\0';
    data += '\0';
    data += page.lines.substr(i, 3);
  }
  return data;
}

}  // namespace

RasterPage randomPage(uint32_t width, uint32_t height, uint32_t padding, uint32_t seed) {
  RasterPage page;
  page.width = width;
  page.height = height;
  page.bytesPerLine = width * 3 + padding;
  page.lines.resize(size_t{page.bytesPerLine} * height);
  std::minstd_rand random(seed);
  for (char& byte : page.lines) byte = static_cast<char>(random() >> 8);
  return page;
}

std::string rasterStream(const std::string& syncWord, const std::vector<RasterPage>& pages) {
  bool bigEndian = syncWord.front() == 'R';
  char version = bigEndian ? syncWord.back() : syncWord.front();
  std::string stream = syncWord;
  for (const RasterPage& page : pages) {
    stream += pageHeader(page, bigEndian, version == 't' ? headerBytes : headerBytesSince2);
    stream += version == '2' ? compressed(page) : page.lines;
  }
  return stream;
}

}  // namespace test
