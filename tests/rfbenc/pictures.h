#pragma once

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <tuple>

#include "base/rfb/ManagedPixelBuffer.h"
#include "tests/pagefile/PageBuilder.h"

namespace pictures {

// Where in the memory of a pixel its CPIXEL lies; of size 0 where there is no tile data.
struct Format {
  rfb::PixelFormat pf;
  int cpixelSize;
  int firstByte;
};

inline const std::vector<Format> formats{
    {rfb::PixelFormat(), 1, 0},
    {rfb::PixelFormat::rgb565(), 2, 0},
    {rfb::PixelFormat::argb8888(), 4, 0},
    {rfb::PixelFormat::rgb888(), 3, 0},
    {rfb::PixelFormat(32, 24, false, true, 255, 255, 255, 24, 16, 8), 3, 1},
    {rfb::PixelFormat(24, 24, false, true, 255, 255, 255, 16, 8, 0), 0, 0}};

// The same numbers in every run.
struct Random : std::mt19937 {
  int below(int n) { return static_cast<int>((*this)() % static_cast<unsigned>(n)); }
};

// Pixels as a little-endian load of their memory gives them.
struct Picture : rfb::ManagedPixelBuffer {
  template <class PixelAt>
  Picture(const Format& newFormat, int w, int h, PixelAt pixelAt)
      : ManagedPixelBuffer(newFormat.pf, rfb::Rect(0, 0, w, h), nullptr), format(newFormat) {
    for (int i = 0; i < w * h; ++i) setPixel(i % w, i / w, pixelAt(i));
  }
  void getImage(void* to, const rfb::Rect& r, int outStride) override {
    if (beforeReading) beforeReading();
    ManagedPixelBuffer::getImage(to, r, outStride);
  }

  const Format& format;
  std::function<void()> beforeReading;
};

// One tile, plainly and slowly.
inline std::string tileData(const builder::Pixels& pixels, int width, const Format& format) {
  builder::Pixels palette;
  // Counted colours, runs of one pixel, longer runs. Where 127 colours are known, every
  // further run counts as a colour.
  int n = 0, s = 0, r = 0;
  const int p = static_cast<int>(pixels.size()), c = format.cpixelSize;
  for (int i = 0, end; i < p; i = end) {
    for (end = i; end < p && pixels[end] == pixels[i];) ++end;
    const bool known = std::find(palette.begin(), palette.end(), pixels[i]) != palette.end();
    if (!known && n < 127) palette.push_back(pixels[i]);
    if (!known || n >= 127) ++n;
    ++(end == i + 1 ? s : r);
  }
  // The cheapest by an estimate, of equal ones the first: cost, rank, subencoding.
  std::vector<std::tuple<int, int, int>> choices{{p * c, 0, 0}, {(s + r) * (c + 1), 1, 128}};
  if (n <= 127) choices.emplace_back(s + 2 * r + n * c, 2, 128 + n);
  if (n <= 16) choices.emplace_back((n == 2 ? 1 : n <= 4 ? 2 : 4) * p / 8 + n * c, 3, n);
  const int cheapest = std::get<2>(*std::min_element(choices.begin(), choices.end()));
  return builder::tile(pixels, width, n == 1 ? 1 : cheapest, palette, {c, format.firstByte, 3});
}

inline std::string tileData(const Picture& picture, const rfb::Rect& r, int tileSize = 64) {
  std::string bytes;
  for (int top = r.tl.y; picture.format.cpixelSize && top < r.br.y; top += tileSize) {
    for (int left = r.tl.x; left < r.br.x; left += tileSize) {
      const rfb::Rect tile = r.intersect({left, top, left + tileSize, top + tileSize});
      builder::Pixels pixels;
      for (int i = 0; i < tile.width() * tile.height(); ++i) {
        pixels.push_back(picture.getPixel(left + i % tile.width(), top + i / tile.width()));
      }
      bytes += tileData(pixels, tile.width(), picture.format);
    }
  }
  return bytes;
}

}  // namespace pictures
