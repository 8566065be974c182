// Reads uncompressed CUPS raster streams (versions 1 and 3) as the imaging library does:
// a header or a row at a time, nothing ahead.

#include "tests/support/cupsimage/standIn.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

extern "C" {

StandIn standIn;

struct cups_raster_t {
  int fd;
  bool swapped;
  size_t headerBytes;
  unsigned bytesPerLine;
  unsigned rowsLeft;
};
}

namespace {

constexpr size_t version1HeaderBytes = 420, version3HeaderBytes = 1796;
constexpr size_t firstInteger = 256, heightOffset = 376, bytesPerLineOffset = 392;

bool readWhole(int fd, void* buffer, size_t length) {
  auto* at = static_cast<char*>(buffer);
  while (length > 0) {
    ssize_t count = read(fd, at, length);
    if (count <= 0) return false;
    at += count;
    length -= static_cast<size_t>(count);
  }
  return true;
}

unsigned integerAt(const char* header, size_t offset) {
  unsigned value;
  memcpy(&value, header + offset, sizeof value);
  return value;
}

}  // namespace

extern "C" {

cups_raster_t* cupsRasterOpen(int fd, int) {
  std::string word(4, '\0');
  if (!readWhole(fd, word.data(), word.size())) return nullptr;
  uint32_t sync;
  memcpy(&sync, word.data(), sizeof sync);
  bool version1 = sync == 0x52615374 || sync == 0x74536152;
  bool version3 = sync == 0x52615333 || sync == 0x33536152;
  if (!version1 && !version3) return nullptr;
  ++standIn.opened;
  bool swapped = sync == 0x74536152 || sync == 0x33536152;
  return new cups_raster_t{fd, swapped, version1 ? version1HeaderBytes : version3HeaderBytes, 0, 0};
}

unsigned cupsRasterReadHeader(cups_raster_t* raster, void* pageHeader) {
  char header[version3HeaderBytes];
  memset(pageHeader, 0, version1HeaderBytes);
  if (standIn.headersUntilFailure-- <= 0) return 0;
  if (!readWhole(raster->fd, header, raster->headerBytes)) return 0;
  if (raster->swapped) {
    for (size_t at = firstInteger; at < version1HeaderBytes; at += 4) {
      std::reverse(header + at, header + at + 4);
    }
  }
  raster->bytesPerLine = integerAt(header, bytesPerLineOffset);
  raster->rowsLeft = integerAt(header, heightOffset);
  if (raster->bytesPerLine == 0) return 0;
  memcpy(pageHeader, header, version1HeaderBytes);
  return 1;
}

#ifndef WITHOUT_READ_PIXELS
unsigned cupsRasterReadPixels(cups_raster_t* raster, unsigned char* buffer, unsigned length) {
  if (raster->rowsLeft == 0 || !readWhole(raster->fd, buffer, length)) return 0;
  const auto rows = static_cast<int>(length / raster->bytesPerLine);
  raster->rowsLeft -= static_cast<unsigned>(rows);
  const bool isShort = standIn.rowsUntilShortRead >= 0 && standIn.rowsUntilShortRead < rows;
  standIn.rowsUntilShortRead -= rows;
  return isShort ? length - 1 : length;
}
#endif

void cupsRasterClose(cups_raster_t* raster) {
  ++standIn.closed;
  delete raster;
}
}
