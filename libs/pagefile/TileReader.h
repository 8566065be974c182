#pragma once

#include <cstdint>

#include "base/plat/printfFormat.h"
#include "base/rdr/pageFileLayout.h"

namespace pagefile {

class Inflater;

struct TilePlace {
  uint32_t x, y;      // in the page
  int width, height;  // 1 to tileSize
};

// Shares nothing with the code that writes tiles, which it is there to check.
class TileReader {
 public:
  // Borrowed; outlives this.
  explicit TileReader(Inflater& source) : in(source) {}

  // Returns the subencoding. Throws as Inflater does.
  uint8_t read(const TilePlace& place);
  // Of the tile read last: rows of its width without gaps; 0x00RRGGBB.
  const uint32_t* pixels() const { return tile; }

 private:
  uint32_t readPixel();
  void readPalette(int count);
  void readRaw(int count);
  void readPacked();
  void readPlainRuns(int count);
  void readPaletteRuns(int count);
  int readRunLength(int remaining);
  [[noreturn]] void fail(const char* format, ...) PLAT_PRINTF(2, 3);

  Inflater& in;
  TilePlace at{};
  int paletteSize = 0;
  uint32_t palette[127];
  uint32_t tile[tileSize * tileSize];
};

}  // namespace pagefile
