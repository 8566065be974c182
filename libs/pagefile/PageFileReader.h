#pragma once

#include <cstdint>
#include <memory>

#include "base/plat/NonCopyable.h"
#include "libs/pagefile/FrameReader.h"
#include "libs/pagefile/Inflater.h"
#include "libs/pagefile/TileReader.h"

namespace pagefile {

struct PageHeader {
  uint32_t width, height;          // pixels, maxPageSize at most
  uint32_t widthMm10, heightMm10;  // tenths of a millimetre, 0: unknown
  uint32_t paperCode;              // a DMPAPER number
};

constexpr uint32_t maxPageSize = 0x7fffffff / 4;
constexpr uint64_t maxBandBytes = uint64_t{1} << 31;

struct PageCounts {
  uint64_t frames = 0;
  uint64_t compressedBytes = 0;     // zlib data
  uint64_t plainBytes = 0;          // what it inflates to
  uint64_t subencodings[256] = {};  // tiles of each
};

// One row of tiles.
struct Band {
  uint32_t top;            // first row
  uint32_t rows;           // 1 to tileSize
  const uint32_t* pixels;  // rows of the page's width without gaps; 0x00RRGGBB
};

// Reads one page file, which is all of its source. Memory is one band, at most
// maxBandBytes, and it is touched only as far as tiles have arrived.
//
// Whatever is wrong with the file throws PageFileError; a failing source throws its own.
// After that only header() and counts() may be called.
class PageFileReader : private plat::NonCopyable {
 public:
  // Reads the header. The source is borrowed, blocks, and stands at the start of the file.
  explicit PageFileReader(rdr::InStream& source);

  const PageHeader& header() const { return head; }
  // The next band from the top, valid until the next call. Null after the last one: the
  // file has then been read to its end and is right. None in a page of width or height 0.
  const Band* nextBand();
  // Of what has been read so far.
  const PageCounts& counts();

 private:
  uint32_t readHeaderWord(const char* name, uint32_t minimum, uint32_t maximum);
  void readHeader();
  void startMessage();
  void expectWord(const char* name, uint16_t wanted);
  void allocateBand();
  void readBand();
  void finish();
  uint64_t bandPixels() const;

  rdr::InStream& file;
  FrameReader message;
  Inflater inflater;
  TileReader tiles;
  PageHeader head{};
  bool started = false;
  bool finished = false;
  std::unique_ptr<uint32_t[]> pixels;
  Band band{};
  PageCounts counted;
};

}  // namespace pagefile
