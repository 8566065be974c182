#pragma once

#include <zlib.h>

#include <algorithm>
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
  for (size_t i = 0, size; at + (size = sizes[i % sizes.size()]) < message.size(); ++i) {
    out += be16(static_cast<uint32_t>(size)) + message.substr(at, size);
    at += size;
  }
  return out + be16(0x8000 | static_cast<uint32_t>(message.size() - at)) + message.substr(at);
}

inline std::string page(uint32_t width, uint32_t height, const std::string& tiles, int level = 6,
                        const std::vector<size_t>& sizes = {32766}) {
  return header(width, height) + frames(rectangle(width, height) + compress(tiles, level), sizes);
}

using Pixels = std::vector<uint32_t>;

// How a tile is written: where in a pixel its CPIXEL lies, in bytes, and from which length on
// a run of a palette tile has a length.
struct TileForm {
  int cpixelSize = 3;
  int firstByte = 0;
  size_t shortestRun = 2;
};

// One tile as the subencoding says. Every pixel is in the palette where there is one.
inline std::string tile(const Pixels& pixels, size_t width, int subencoding, const Pixels& palette,
                        const TileForm& form = {}) {
  std::string out(1, static_cast<char>(subencoding));
  const auto putColour = [&](uint32_t pixel) {
    for (int i = 0; i < form.cpixelSize; ++i) {
      out += static_cast<char>(pixel >> 8 * (form.firstByte + i));
    }
  };
  const auto indexOf = [&](uint32_t pixel) {
    return static_cast<int>(std::find(palette.begin(), palette.end(), pixel) - palette.begin());
  };
  const bool hasPalette = subencoding != 0 && subencoding != 128;
  if (hasPalette) std::for_each(palette.begin(), palette.end(), putColour);
  if (subencoding == 0) {
    std::for_each(pixels.begin(), pixels.end(), putColour);
  } else if (subencoding >= 2 && subencoding <= 16) {
    const size_t bits = subencoding == 2 ? 1 : subencoding <= 4 ? 2 : 4;
    for (size_t row = 0; row < pixels.size(); row += width) {
      std::string packed((width * bits + 7) / 8, '\0');
      for (size_t x = 0; x < width; ++x) {
        packed[x * bits / 8] |=
            static_cast<char>(indexOf(pixels[row + x]) << (8 - bits - x * bits % 8));
      }
      out += packed;
    }
  } else if (subencoding >= 128) {
    for (size_t i = 0, length; i < pixels.size(); i += length) {
      for (length = 1; i + length < pixels.size() && pixels[i + length] == pixels[i];) ++length;
      const bool hasLength = !hasPalette || length >= form.shortestRun;
      if (!hasPalette) {
        putColour(pixels[i]);
      } else {
        const int index = indexOf(pixels[i]) | (hasLength ? 0x80 : 0);
        out.append(hasLength ? 1 : length, static_cast<char>(index));
      }
      // 255s and the rest of length - 1.
      if (hasLength) {
        out.append((length - 1) / 255, '\xff') += static_cast<char>((length - 1) % 255);
      }
    }
  }
  return out;
}

}  // namespace builder
