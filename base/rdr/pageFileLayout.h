#pragma once

#include <cstdint>

// One page of a raster job in a file. Integers are big-endian; docs/formats.md has an example.
//   file      := width height widthMm10 heightMm10 paperCode headerEnd    uint32 each
//                message                      // in frames as OutStreamV4 writes them, to the end
//   message   := rectangle
//   rectangle := rectangleMark|encoding left top width height            uint16 each
//                tiles                        // one zlib stream, ended by a sync flush
// The tiles are those of RFC 6143 section 7.7.6 with CPIXELs of three bytes: blue, green, red.
namespace pagefile {

constexpr int headerSize = 24;  // bytes
constexpr uint32_t headerEnd = 1;

constexpr int rectangleHeaderSize = 10;     // bytes
constexpr uint16_t rectangleMark = 0x8000;  // of this generation of the protocol
constexpr uint16_t zrleEncoding = 16;

constexpr int tileSize = 64;  // pixels; less at the right and lower edges

}  // namespace pagefile
