#pragma once

#include <algorithm>
#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "base/rfb/FullFramePixelBuffer.h"

namespace pictures {

// Where in the memory of a pixel its CPIXEL lies.
struct Format {
  const char* name;
  rfb::PixelFormat pf;
  int size;
  int cpixelSize;
  int firstByte;
};

inline const std::vector<Format>& formats() {
  static const std::vector<Format> table{
      {"8", rfb::PixelFormat(), 1, 1, 0},
      {"16", rfb::PixelFormat::rgb565(), 2, 2, 0},
      {"32", rfb::PixelFormat::argb8888(), 4, 4, 0},
      {"leading", rfb::PixelFormat::rgb888(), 4, 3, 0},
      {"trailing", rfb::PixelFormat(32, 24, false, true, 255, 255, 255, 24, 16, 8), 4, 3, 1},
  };
  return table;
}

// Pixels as a little-endian load of their memory gives them.
class Picture : public rfb::FullFramePixelBuffer {
 public:
  Picture(const Format& newFormat, int w, int h)
      : FullFramePixelBuffer(newFormat.pf, rfb::Rect(0, 0, w, h), nullptr, nullptr, 0),
        format(newFormat),
        memory(static_cast<size_t>(w * h * newFormat.size)) {
    data = memory.data();
  }

  // pixelAt(i) is the i-th pixel of a tile.
  void fillTiles(int tileSize, const std::function<uint32_t(int i)>& pixelAt) {
    for (const rfb::Rect& r : tilesOf(getRect(), tileSize)) {
      for (int i = 0; i < r.width() * r.height(); ++i) {
        setPixel(r.tl.x + i % r.width(), r.tl.y + i / r.width(), pixelAt(i));
      }
    }
  }
  std::vector<uint32_t> pixelsOf(const rfb::Rect& r) const {
    std::vector<uint32_t> pixels;
    for (int y = r.tl.y; y < r.br.y; ++y) {
      for (int x = r.tl.x; x < r.br.x; ++x) pixels.push_back(getPixel(x, y));
    }
    return pixels;
  }
  static std::vector<rfb::Rect> tilesOf(const rfb::Rect& r, int tileSize) {
    std::vector<rfb::Rect> tiles;
    for (int y = r.tl.y; y < r.br.y; y += tileSize) {
      for (int x = r.tl.x; x < r.br.x; x += tileSize) {
        tiles.emplace_back(x, y, std::min(x + tileSize, r.br.x), std::min(y + tileSize, r.br.y));
      }
    }
    return tiles;
  }

  const Format& format;

 private:
  std::vector<uint8_t> memory;
};

// The bytes of a CPIXEL, the first one least significant.
inline uint32_t cpixel(uint32_t pixel, const Format& format) {
  uint32_t value = 0;
  memcpy(&value, reinterpret_cast<const char*>(&pixel) + format.firstByte,
         static_cast<size_t>(format.cpixelSize));
  return value;
}

// RFC 6143 section 7.7.6: tile data back to CPIXELs, which are written into a canvas.
class Decoder {
 public:
  Decoder(const Format& newFormat, int w, int h)
      : format(newFormat), width(w), canvas(static_cast<size_t>(w * h)) {}

  // Throws std::out_of_range where data ends early. Returns how many bytes were read.
  size_t decode(const std::string& tileData, const rfb::Rect& r, int tileSize = 64) {
    data = tileData;
    at = 0;
    for (const rfb::Rect& tile : Picture::tilesOf(r, tileSize)) decodeTile(tile);
    return at;
  }
  bool shows(const Picture& picture, const rfb::Rect& r) const {
    for (int y = r.tl.y; y < r.br.y; ++y) {
      for (int x = r.tl.x; x < r.br.x; ++x) {
        if (canvas[static_cast<size_t>(y * width + x)] != cpixel(picture.getPixel(x, y), format)) {
          return false;
        }
      }
    }
    return true;
  }

  std::set<int> subencodings;  // seen

 private:
  int byte() { return static_cast<uint8_t>(data.at(at++)); }
  uint32_t colour() {
    uint32_t value = 0;
    for (int i = 0; i < format.cpixelSize; ++i) value |= static_cast<uint32_t>(byte()) << 8 * i;
    return value;
  }
  int runLength() {
    int length = 1;
    int more;
    do length += more = byte();
    while (more == 255);
    return length;
  }
  void decodeTile(const rfb::Rect& tile) {
    const int count = tile.width() * tile.height();
    std::vector<uint32_t> pixels;
    const int subencoding = byte();
    subencodings.insert(subencoding);
    std::vector<uint32_t> palette(static_cast<size_t>(subencoding % 128));
    for (uint32_t& entry : palette) entry = colour();
    const auto add = [&](uint32_t value, int length) {
      pixels.insert(pixels.end(), static_cast<size_t>(length), value);
    };
    const int bits = subencoding <= 2 ? 1 : subencoding <= 4 ? 2 : 4;
    int rest = 0;
    while (static_cast<int>(pixels.size()) < count) {
      if (subencoding == 0) {
        add(colour(), 1);
      } else if (subencoding == 1) {
        add(palette[0], count);
      } else if (subencoding <= 16) {
        const int x = static_cast<int>(pixels.size()) % tile.width();
        if (x * bits % 8 == 0) rest = byte();
        add(palette.at(static_cast<size_t>(rest >> (8 - bits - x * bits % 8) & ((1 << bits) - 1))),
            1);
      } else if (subencoding == 128) {
        const uint32_t value = colour();
        add(value, runLength());
      } else if (subencoding >= 130) {
        const int index = byte();
        const uint32_t value = palette.at(static_cast<size_t>(index & 0x7f));
        add(value, index & 0x80 ? runLength() : 1);
      } else {
        throw std::out_of_range("subencoding");
      }
    }
    if (static_cast<int>(pixels.size()) > count) throw std::out_of_range("run");
    for (int i = 0; i < count; ++i) {
      const int x = tile.tl.x + i % tile.width();
      const int y = tile.tl.y + i / tile.width();
      canvas[static_cast<size_t>(y * width + x)] = pixels[static_cast<size_t>(i)];
    }
  }

  const Format& format;
  int width;
  std::vector<uint32_t> canvas;
  std::string data;
  size_t at = 0;
};

}  // namespace pictures
