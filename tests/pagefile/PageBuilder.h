#pragma once

#include <zlib.h>

#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

// Page files by hand, from docs/formats.md and the RFCs.
namespace builder {

inline std::string be16(uint32_t value) {
  return {static_cast<char>(value >> 8), static_cast<char>(value)};
}
inline std::string be32(uint32_t value) {
  return be16(value >> 16) + be16(value & 0xffff);
}
inline std::string bytes(std::initializer_list<int> values) {
  return std::string(values.begin(), values.end());
}

inline std::string header(uint32_t width, uint32_t height) {
  return be32(width) + be32(height) + be32(2100) + be32(2970) + be32(9) + be32(1);
}
inline std::string rectangle(uint32_t width, uint32_t height) {
  return be16(0x8010) + be16(0) + be16(0) + be16(width & 0xffff) + be16(height & 0xffff);
}

// Level 0 stores the bytes as they are: a zlib header of 2 bytes, 5 bytes before the data
// (fewer than 16 KiB), 5 bytes of the sync flush behind it.
inline std::string compress(const std::string& plain, int level = 6, int flush = Z_SYNC_FLUSH) {
  z_stream zlib{};
  if (deflateInit(&zlib, level) != Z_OK) throw std::runtime_error("deflateInit");
  std::string out(plain.size() * 2 + 1000, '\0');
  zlib.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(plain.data()));
  zlib.avail_in = static_cast<uInt>(plain.size());
  zlib.next_out = reinterpret_cast<Bytef*>(out.data());
  zlib.avail_out = static_cast<uInt>(out.size());
  deflate(&zlib, flush);
  out.resize(zlib.total_out);
  deflateEnd(&zlib);
  return out;
}

// Sizes are taken in turns; 0 is an empty frame, which is skipped.
inline std::string frames(const std::string& message, const std::vector<size_t>& sizes = {32766}) {
  std::string out;
  size_t at = 0;
  for (size_t i = 0;; ++i) {
    size_t size = sizes[i % sizes.size()];
    if (at + size >= message.size()) {
      size = message.size() - at;
      return out + be16(0x8000 | static_cast<uint32_t>(size)) + message.substr(at);
    }
    out += be16(static_cast<uint32_t>(size)) + message.substr(at, size);
    at += size;
  }
}

inline std::string page(uint32_t width, uint32_t height, const std::string& tiles, int level = 6,
                        const std::vector<size_t>& sizes = {32766}) {
  return header(width, height) + frames(rectangle(width, height) + compress(tiles, level), sizes);
}

using Pixels = std::vector<uint32_t>;

inline std::string cpixel(uint32_t colour) {
  return {static_cast<char>(colour), static_cast<char>(colour >> 8),
          static_cast<char>(colour >> 16)};
}

// Of `length` pixels: 255s and the rest of length - 1.
inline std::string runLength(size_t length) {
  return std::string((length - 1) / 255, '\xff') + static_cast<char>((length - 1) % 255);
}

// One tile as the subencoding says. The palette is 0, 1, 2, ... times paletteStep, and
// every pixel is in it.
constexpr uint32_t paletteStep = 0x010203;
inline std::string tile(const Pixels& pixels, size_t width, int subencoding) {
  std::string out(1, static_cast<char>(subencoding));
  const bool hasPalette = subencoding != 0 && subencoding != 128;
  const size_t colours = static_cast<size_t>(subencoding) & 0x7f;
  for (size_t i = 0; hasPalette && i < colours; ++i) {
    out += cpixel(static_cast<uint32_t>(i) * paletteStep);
  }
  if (subencoding == 0) {
    for (uint32_t pixel : pixels) out += cpixel(pixel);
  } else if (subencoding >= 2 && subencoding <= 16) {
    const size_t bits = colours <= 2 ? 1 : colours <= 4 ? 2 : 4;
    for (size_t row = 0; row < pixels.size(); row += width) {
      std::string packed((width * bits + 7) / 8, '\0');
      for (size_t x = 0; x < width; ++x) {
        size_t index = pixels[row + x] / paletteStep;
        packed[x * bits / 8] |= static_cast<char>(index << (8 - bits - x * bits % 8));
      }
      out += packed;
    }
  } else if (subencoding >= 128) {
    for (size_t i = 0, next; i < pixels.size(); i = next) {
      for (next = i + 1; next < pixels.size() && pixels[next] == pixels[i];) ++next;
      const int index = static_cast<int>(pixels[i] / paletteStep);
      if (subencoding == 128) {
        out += cpixel(pixels[i]) + runLength(next - i);
      } else if (next == i + 1) {
        out += static_cast<char>(index);
      } else {
        out += static_cast<char>(index | 0x80) + runLength(next - i);
      }
    }
  }
  return out;
}

}  // namespace builder
