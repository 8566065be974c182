#include "apps/cups-qolt/zrle-generator.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <utility>

#include "apps/common/jobNames.h"
#include "apps/cups-qolt/CupsPixelBuffer.h"
#include "apps/cups-qolt/RasterStreams.h"
#include "apps/cups-qolt/jobFiles.h"
#include "base/plat/unix/OwnedFd.h"
#include "base/rdr/FileOutStream.h"
#include "base/rdr/pageFileLayout.h"
#include "base/rfb/TransPixelBuffer.h"
#include "libs/rfb/EncoderCallbackV4.h"
#include "libs/rfbenc/ZRLEEncoder.h"

namespace {

constexpr int pipeBytes = 1 << 20;  // what an account may have without any privilege

// DMPAPER numbers of the DEVMODE printer settings, and the largest page in points that
// each stands for. The first that holds a page is taken.
struct Paper {
  uint32_t code, maxWidth, maxHeight;
};
constexpr Paper papers[] = {
    {27, 312, 624}, {31, 323, 459},  {11, 420, 595},  {28, 459, 649}, {13, 516, 729},
    {10, 538, 781}, {2, 552, 730},   {9, 595, 842},   {1, 612, 792},  {5, 612, 1008},
    {30, 649, 918}, {42, 709, 1001}, {12, 729, 1032}, {3, 792, 1224}, {8, 842, 1191},
};
constexpr uint32_t codeOfOtherPapers = 4;

uint32_t paperCode(const unsigned (&pageSize)[2]) {
  for (const Paper& paper : papers) {
    if (pageSize[0] <= paper.maxWidth && pageSize[1] <= paper.maxHeight) return paper.code;
  }
  return codeOfOtherPapers;
}

// Tenths of a millimetre, rounded; 0 when the resolution is not known.
uint32_t physicalSize(int pixels, unsigned dotsPerInch) {
  if (dotsPerInch == 0) return 0;
  return static_cast<uint32_t>(std::min<double>(pixels * 254.0 / dotsPerInch + 0.5, UINT32_MAX));
}

void writePageHeader(rdr::OutStream& out, const cupsraster::CupsPixelBuffer& page) {
  const cupsraster::cups_page_header_t& header = page.getHeader();
  out.writeS32(page.width());
  out.writeS32(page.height());
  out.writeU32(physicalSize(page.width(), header.HWResolution[0]));
  out.writeU32(physicalSize(page.height(), header.HWResolution[1]));
  out.writeU32(paperCode(header.PageSize));
  out.writeU32(pagefile::headerEnd);
}

void writePageFile(const char* path, cupsraster::CupsPixelBuffer& page) {
  rdr::FileOutStream out(createJobFile(path).release(), true);
  writePageHeader(out, page);
  rfb::TransPixelBuffer translated(false);
  translated.setSource(&page);
  translated.setPF(rfb::PixelFormat::nativeRGB888());
  encodePage(out, page.width(), page.height(), translated, &page);
  // The destructor would hide what only the last write finds, such as a full disk.
  out.close();
}

}  // namespace

void encodePage(rdr::OutStream& out, int width, int height, rfb::PixelBuffer& source,
                cupsraster::CupsPixelBuffer* page) {
  rfb::EncoderCallbackV4 callback(&out);
  rfb::ZRLEEncoder encoder(&callback, pagefile::zrleEncoding, false, pagefile::tileSize, false,
                           true);
  if (page) page->setIdleWork([&encoder] { return encoder.deflateSome(); });
  encoder.writeRect(rfb::Rect(0, 0, width, height), &source);
}

void generateZrlePages(const char* fileName, const char* prefix, std::vector<plat::String>& files) {
  bool isFile = fileName && *fileName;
  plat::OwnedFd input(isFile ? openStoredInput(fileName).release() : -1);
  // What draws the pages can go on while one is encoded. Where this is no pipe, or the system
  // refuses, it waits.
  if (!isFile) fcntl(STDIN_FILENO, F_SETPIPE_SZ, pipeBytes);
  cupsraster::RasterStreams streams(isFile ? input.get() : STDIN_FILENO,
                                    fileName ? fileName : "[stdin]");
  cupsraster::CupsPixelBuffer page(&streams, pagefile::tileSize);
  for (int index = 0; page.nextPage(); ++index) {
    plat::String path = job::pagePath(prefix, index);
    writePageFile(path.get(), page);
    files.push_back(std::move(path));
  }
}
