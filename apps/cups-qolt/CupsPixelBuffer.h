#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "apps/cups-qolt/CupsRasterApi.h"
#include "base/rfb/PixelBuffer.h"

namespace cupsraster {

class RasterStreams;

// The current page of a CUPS raster document: 8-bit RGB, three bytes a pixel. The document
// is read forwards, as far as the requests go, and only the rows of the last request that
// was read are kept.
class CupsPixelBuffer : public rfb::PixelBuffer {
 public:
  // The streams are borrowed. newBandRows: how many rows are asked for at once; a page of
  // which so many take more than 1 GiB is beyond all use.
  CupsPixelBuffer(RasterStreams* newStreams, unsigned newBandRows);

  // Goes to the next page. False when there are no more. False also at a page of another
  // pixel format, which is told on standard error; the next call passes over it. A page
  // whose size cannot be right, or is beyond all use, throws plat::ExceptionFmt "Invalid
  // CUPS page size: ...", and there are no more then.
  bool nextPage();
  // Until nextPage(): what is done, in small steps, while rows that are asked for have not come.
  // Returns whether there was something to do.
  void setIdleWork(std::function<bool()> work);
  // Of the page that nextPage() went to.
  const cups_page_header_t& getHeader() const { return header; }

  // The stride is the page's width. Preconditions, which throw plat::AssertionFail: nextPage()
  // was true, its page has these columns, and rows that are not kept lie below those that are
  // ("r.tl.y >= cacheRect.br.y"). Throws plat::Exception "Unexpected end of CUPS page data",
  // from then on for every row of the page that is not kept.
  const uint8_t* getPixelsR(const rfb::Rect& r, int* stride) override;

 private:
  void skipRows(unsigned endRow);
  void makeRoom(size_t bytes);

  RasterStreams* streams;
  unsigned bandRows;
  cups_page_header_t header = {};  // at first of a page without rows
  // A broken page has no more data than was read.
  enum class State { noPage, page, brokenPage, ended } state = State::noPage;
  // Not initialised: what a header asks for becomes real memory as lines arrive.
  std::unique_ptr<uint8_t[]> rows;
  size_t room = 0;      // bytes
  rfb::Rect cacheRect;  // what the block holds
  unsigned rowsRead = 0;
};

}  // namespace cupsraster
