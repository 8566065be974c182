#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "base/plat/NonCopyable.h"
#include "libs/rfbenc/XrlePaletteHelper.h"
#include "libs/rfbenc/runScan.h"

namespace rdr {
class OutStream;
}

namespace rfb {

struct PixelFormat;

// What of a pixel in memory is its CPIXEL (RFC 6143 section 7.7.5).
enum class XrleVariant {
  pixel8,
  pixel16,
  pixel32,
  leading24,   // bytes 0, 1, 2 of 4
  trailing24,  // bytes 1, 2, 3 of 4
};

// Nothing for a pixel size that has no tile data.
std::optional<XrleVariant> xrleVariant(const PixelFormat& pf);

// One tile on its way from pixels to the tile data of the ZRLE encoding (RFC 6143
// section 7.7.6). Used for one tile after another; allocates nothing for a tile.
class XrleEncodeTile : private plat::NonCopyable {
 public:
  static constexpr int maxTileSize = 16384;

  // Tiles of up to tileSize pixels, 1 to maxTileSize, in width and height.
  explicit XrleEncodeTile(int tileSize);

  // Chooses the subencoding of width x height pixels, row after row without padding.
  // There is room for one more pixel behind them, which is overwritten. The pixels stay
  // there for write().
  void analyse(XrleVariant newVariant, uint8_t* newPixels, int newWidth, int newHeight);
  // The subencoding and its data. A raw tile of 3-byte CPIXELs is reserved as one item.
  void write(rdr::OutStream* os);

  void clearPalette() { palette.clear(); }

 private:
  template <class Variant>
  void analyseAs();
  template <class Pixel>
  void collectColours();
  template <class Variant>
  void writeAs(rdr::OutStream* os);
  template <class Variant>
  void writeRaw(rdr::OutStream* os) const;
  template <class Variant>
  void writePalette(rdr::OutStream* os) const;
  template <class Variant>
  void writePlainRuns(rdr::OutStream* os) const;
  template <class Pixel>
  void writePackedIndexes(rdr::OutStream* os);

  int count() const { return width * height; }

  XrleVariant variant = XrleVariant::pixel8;
  uint8_t* pixels = nullptr;  // the caller's
  int width = 0;
  int height = 0;
  int subencoding = 0;
  XrlePaletteHelper palette;
  std::vector<uint64_t> runEnds;  // see RunScanOps
  // The data of palette run-length encoding behind the palette; of no meaning when there
  // are too many colours for a palette.
  std::vector<uint8_t> paletteRuns;
  int paletteRunsSize = 0;
  std::vector<uint64_t> indexBits;  // of the pixels of a packed tile of two colours
  std::vector<uint8_t> indexes;     // one by one of a packed tile, then the packed ones
};

}  // namespace rfb
