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

  // Goes to the next page. False when there are no more. False also at a page of another
  // pixel format, which is told on standard error; the next call passes over it. A page
  // whose size cannot be right, or is beyond all use, throws plat::ExceptionFmt "Invalid
  // CUPS page size: ...", and there are no more then.
  bool nextPage();
  // Of the page that nextPage() went to.
  const cups_page_header_t& getHeader() const { return header; }

  // Precondition: nextPage() was true, and columns of it. Rows that are not kept must lie below
  // those that are: AssertionFail "r.tl.y >= cacheRect.br.y". The stride is the page's width.
  // Throws plat::Exception "Unexpected end of CUPS page data", from then on for every row of
  // the page that is not kept.
  const uint8_t* getPixelsR(const rfb::Rect& r, int* stride) override;

 private:
  bool readHeader();
  bool openFollowing();
  // The block has room for the line there.
  unsigned readRow(size_t offset);
  void skipRows(unsigned endRow);
  void makeRoom(size_t bytes);

  cups_raster_t* raster;
  cups_page_header_t header = {};
  enum class State { start, page, unreadable, ended } state = State::start;
  // Not initialised: what a header asks for becomes real memory as lines arrive.
  std::unique_ptr<uint8_t[]> rows;
  size_t room = 0;      // bytes
  rfb::Rect cacheRect;  // what the block holds
  unsigned rowsRead = 0;
  bool brokeOff = false;  // the data of this page
  RasterStreams* streams;
};

}  // namespace cupsraster
