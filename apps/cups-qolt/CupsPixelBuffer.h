#pragma once

#include <cstdint>
#include <memory>

#include "apps/cups-qolt/CupsRasterApi.h"
#include "base/rfb/PixelBuffer.h"

namespace cupsraster {

class RasterStreams;

// The current page of a CUPS raster stream: 8-bit RGB, three bytes a pixel. The stream
// is read forwards, as far as the requests go, and only the rows of the last request that
// was read are kept.
class CupsPixelBuffer : public rfb::PixelBuffer {
 public:
  // Takes over the raster. `newStreams`, when not null, is borrowed; it opened the raster,
  // and the pages of the streams that follow it there are further pages of this document.
  explicit CupsPixelBuffer(cups_raster_t* newRaster, RasterStreams* newStreams = nullptr);
  ~CupsPixelBuffer() override;

  // Goes to the next page. False at the end of the document, which is also a page of
  // another pixel format; that is told on standard error. A page whose size cannot be
  // right, or is beyond all use, throws plat::ExceptionFmt "Invalid CUPS page size: ...".
  // After either there are no more pages.
  bool nextPage();
  // Of the page that nextPage() went to.
  const cups_page_header_t& getHeader() const { return header; }

  // Precondition: a page, and columns of it. Rows that are not kept must lie below those
  // that are: AssertionFail "r.tl.y >= cacheRect.br.y". The stride is the page's width.
  // Throws plat::Exception "Unexpected end of CUPS page data".
  const uint8_t* getPixelsR(const rfb::Rect& r, int* stride) override;

 private:
  bool readHeader();
  bool openFollowing();
  unsigned readRow(size_t offset);
  // The block holds at least one line.
  void skipRows(int endRow);
  void makeRoom(size_t bytes);

  cups_raster_t* raster;
  cups_page_header_t header = {};
  bool pageOpen = false;
  // Not initialised: what a header asks for becomes real memory as lines arrive.
  std::unique_ptr<uint8_t[]> rows;
  size_t room = 0;      // bytes
  rfb::Rect cacheRect;  // what the block holds
  int rowsRead = 0;
  RasterStreams* streams;
  bool ended = false;
};

}  // namespace cupsraster
