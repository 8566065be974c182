#include "apps/cups-qolt/CupsPixelBuffer.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <utility>

#include "apps/cups-qolt/RasterStreams.h"
#include "base/plat/Assertion.h"
#include "base/plat/Exception.h"

namespace cupsraster {

namespace {

constexpr size_t bytesPerPixel = 3;
// Read at once, or one line: a part of what a pipe holds.
constexpr unsigned pieceBytes = 65536;

// Red, green and blue in the order of the bytes.
rfb::PixelFormat rasterFormat() {
  rfb::PixelFormat format = rfb::PixelFormat::bgr888();
  format.bpp = 24;
  format.bigEndian = false;
  format.makeNativeEndian();
  return format;
}

// The library lets any number through.
void checkSize(const cups_page_header_t& header, unsigned bandRows) {
  constexpr unsigned maxHeight = INT_MAX / 4;  // that of the width follows from the band's size
  constexpr uint64_t maxBandBytes = uint64_t{1} << 30;
  uint64_t rowBytes = uint64_t{header.cupsWidth} * bytesPerPixel;
  if (header.cupsBytesPerLine < rowBytes || header.cupsHeight > maxHeight ||
      rowBytes * bandRows + (header.cupsBytesPerLine - rowBytes) > maxBandBytes) {
    throw plat::ExceptionFmt("Invalid CUPS page size: %u x %u, %u bytes per line", header.cupsWidth,
                             header.cupsHeight, header.cupsBytesPerLine);
  }
}

}  // namespace

CupsPixelBuffer::CupsPixelBuffer(RasterStreams* newStreams, unsigned newBandRows)
    : streams(newStreams), bandRows(newBandRows) {}

void CupsPixelBuffer::setIdleWork(std::function<bool()> work) {
  streams->setIdleWork(std::move(work));
}

bool CupsPixelBuffer::nextPage() {
  setIdleWork(nullptr);
  if (state == State::ended) return false;
  skipRows(header.cupsHeight);
  state = State::ended;
  if (!streams->nextHeader(&header)) return false;
  cacheRect = {};
  rowsRead = 0;
  rect = {0, 0, static_cast<int>(header.cupsWidth), static_cast<int>(header.cupsHeight)};
  if (header.cupsBitsPerColor != 8 || header.cupsBitsPerPixel != 8 * bytesPerPixel ||
      header.cupsColorSpace != CUPS_CSPACE_RGB) {
    fprintf(stderr,
            "Page has unsupported pixel-format:\ncupsBitsPerColor: %d\ncupsBitsPerPixel: %d\n"
            "cupsColorSpace: %d\n",
            static_cast<int>(header.cupsBitsPerColor), static_cast<int>(header.cupsBitsPerPixel),
            static_cast<int>(header.cupsColorSpace));
    state = State::noPage;
    return false;
  }
  checkSize(header, bandRows);
  pf = rasterFormat();
  state = State::page;
  return true;
}

void CupsPixelBuffer::makeRoom(size_t bytes) {
  if (bytes <= room) return;
  rows.reset();
  room = 0;
  rows = std::make_unique_for_overwrite<uint8_t[]>(bytes);
  room = bytes;
}

void CupsPixelBuffer::skipRows(unsigned endRow) {
  // Also of a page that was not taken, whose size is not checked.
  makeRoom(std::min(header.cupsBytesPerLine, pieceBytes));
  for (; rowsRead < endRow; ++rowsRead) {
    unsigned piece, count;
    for (unsigned left = header.cupsBytesPerLine; left > 0; left -= piece) {
      piece = std::min(left, pieceBytes);
      count = streams->readPixels(rows.get(), piece);
      // Where nothing comes, nothing will: a damaged header may promise 500 million rows.
      if (count == 0) {
        rowsRead = endRow;
        return;
      }
      if (count < piece) break;
    }
  }
}

const uint8_t* CupsPixelBuffer::getPixelsR(const rfb::Rect& r, int* stride) {
  if (r.isEmpty()) return rows.get();
  PLAT_ASSERT_THROW((state == State::page || state == State::brokenPage) && r.tl.x >= 0 &&
                    r.br.x <= rect.br.x);
  if (stride) *stride = rect.br.x;
  size_t rowBytes = header.cupsWidth * bytesPerPixel;
  size_t leftBytes = static_cast<size_t>(r.tl.x) * bytesPerPixel;
  if (cacheRect.encloses(r)) {
    return rows.get() + rowBytes * static_cast<size_t>(r.tl.y - cacheRect.tl.y) + leftBytes;
  }
  PLAT_ASSERT_THROW(r.tl.y >= cacheRect.br.y);
  cacheRect = {0, r.tl.y, 0, r.tl.y};  // nothing, until all rows are there
  size_t count = static_cast<size_t>(r.br.y - r.tl.y);
  // The last line brings its padding along; that of any other is overwritten by the next, so
  // such lines come one by one.
  const size_t atOnce = header.cupsBytesPerLine == rowBytes ? pieceBytes / rowBytes : 1;
  makeRoom(rowBytes * count + (header.cupsBytesPerLine - rowBytes));
  skipRows(static_cast<unsigned>(r.tl.y));
  for (size_t i = 0, lines; i < count; i += lines) {
    lines = std::clamp<size_t>(atOnce, 1, count - i);
    const auto bytes = static_cast<unsigned>(lines * header.cupsBytesPerLine);
    if (state == State::brokenPage ||
        streams->readPixels(rows.get() + i * rowBytes, bytes) < bytes) {
      state = State::brokenPage;
      throw plat::Exception("Unexpected end of CUPS page data");
    }
    rowsRead += static_cast<unsigned>(lines);
  }
  cacheRect = {0, r.tl.y, rect.br.x, r.br.y};
  return rows.get() + leftBytes;
}

}  // namespace cupsraster
