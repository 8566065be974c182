// Tiles of a page file, uncompressed: no mutation gets far into compressed data.
#include <vector>

#include "base/rdr/MemInStream.h"
#include "base/rdr/MemOutStream.h"
#include "base/rfb/FullFramePixelBuffer.h"
#include "fuzz/fuzz.h"
#include "libs/pagefile/PageFileReader.h"
#include "libs/rfb/EncoderCallbackV4.h"
#include "libs/rfbenc/ZRLEEncoder.h"
#include "tests/pagefile/PageBuilder.h"
#include "tests/support/streams.h"

static std::vector<uint32_t> read(const std::string& bytes) {
  rdr::MemInStream source(bytes.data(), static_cast<int>(bytes.size()));
  pagefile::PageFileReader file(source);
  std::vector<uint32_t> pixels;
  while (const pagefile::Band* band = file.nextBand()) {
    pixels.insert(pixels.end(), band->pixels,
                  band->pixels + size_t{file.header().width} * band->rows);
  }
  return pixels;
}

// The picture, coded in our own way, is the same picture.
static void checkEncoder(std::vector<uint32_t> pixels, int width, int height) {
  const rfb::Rect area(0, 0, width, height);
  rfb::FullFramePixelBuffer picture(rfb::PixelFormat::nativeRGB888(), area, nullptr,
                                    reinterpret_cast<uint8_t*>(pixels.data()), 0);
  rdr::MemOutStream out;
  rfb::EncoderCallbackV4 callback(&out);
  rfb::ZRLEEncoder encoder(&callback, rfb::ZRLEEncoder::zrleEncoding, false, 64, false, true);
  encoder.writeRect(area, &picture);
  const std::string header =
      builder::header(static_cast<uint32_t>(width), static_cast<uint32_t>(height));
  PLAT_ASSERT(read(header + fakes::bytesOf(out)) == pixels);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const int width = input.number(1, 130);
  const int height = input.number(1, 130);
  const std::string tiles = input.rest();
  const std::string page =
      builder::page(static_cast<uint32_t>(width), static_cast<uint32_t>(height), tiles, 0);
  std::vector<uint32_t> pixels;
  if (fuzz::isRefused([&] { pixels = read(page); })) return 0;
  for (uint32_t pixel : pixels) PLAT_ASSERT(pixel <= 0xffffff);
  checkEncoder(pixels, width, height);
  return 0;
}
