// The two costs that a raster job cannot avoid: reading the rows through the imaging
// library, and deflating the tile bytes once.
//   floor --tiles PAGEFILE     writes the tile bytes of a page file to standard output
//   floor TILES... <RASTER     reads every row of every page, and deflates the tile bytes of
//                              each, one file a page, at zlib's default level

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "apps/cups-qolt/CupsRasterApi.h"
#include "base/plat/Exception.h"
#include "base/plat/unix/OwnedFd.h"
#include "base/rdr/FileInStream.h"
#include "base/rdr/InStreamV4.h"
#include "base/rdr/pageFileLayout.h"

namespace {

constexpr size_t blockSize = 16384;

void check(int zlibResult) {
  if (zlibResult < 0 && zlibResult != Z_BUF_ERROR) {
    throw plat::ExceptionFmt("zlib failed: %d", zlibResult);
  }
}

void writeTiles(const char* pageFile) {
  rdr::FileInStream file(pageFile, 0);
  file.skip(pagefile::headerSize);
  rdr::InStreamV4 message(&file);
  message.setRewindable(false);
  message.startMsg(true);
  message.skip(pagefile::rectangleHeaderSize);
  z_stream zlib = {};
  check(inflateInit(&zlib));
  std::vector<uint8_t> out(blockSize);
  while (!message.atEnd()) {
    if (message.nUnread() == 0) message.overrun(true, 1);
    zlib.next_in = const_cast<uint8_t*>(message.getPtr());
    zlib.avail_in = static_cast<uInt>(message.nUnread());
    do {
      zlib.next_out = out.data();
      zlib.avail_out = blockSize;
      check(inflate(&zlib, Z_NO_FLUSH));
      fwrite(out.data(), 1, blockSize - zlib.avail_out, stdout);
    } while (zlib.avail_out == 0);
    message.setPtr(zlib.next_in);
  }
  check(inflateEnd(&zlib));
  if (fflush(stdout) != 0) throw plat::StdlibException("writing the tile bytes failed");
}

void readRows(cupsraster::cups_raster_t* raster, const cupsraster::cups_page_header_t& header) {
  const unsigned atOnce = std::max(65536 / header.cupsBytesPerLine, 1U);
  std::vector<uint8_t> rows(size_t{atOnce} * header.cupsBytesPerLine);
  for (unsigned y = 0, count; y < header.cupsHeight; y += count) {
    count = std::min(atOnce, header.cupsHeight - y);
    if (cupsRasterReadPixels(raster, rows.data(), count * header.cupsBytesPerLine) == 0) {
      throw plat::Exception("the raster ends early");
    }
  }
}

void deflateTiles(const char* tiles) {
  plat::OwnedFd file(open(tiles, O_RDONLY | O_CLOEXEC));
  std::vector<uint8_t> in(blockSize), out(blockSize);
  z_stream zlib = {};
  check(deflateInit(&zlib, Z_DEFAULT_COMPRESSION));
  ssize_t count;
  do {
    count = read(file.get(), in.data(), blockSize);
    if (count < 0) throw plat::SystemExceptionFmt("read(%s)", errno, tiles);
    zlib.next_in = in.data();
    zlib.avail_in = static_cast<uInt>(count);
    do {
      zlib.next_out = out.data();
      zlib.avail_out = blockSize;
      check(deflate(&zlib, count > 0 ? Z_NO_FLUSH : Z_SYNC_FLUSH));
    } while (zlib.avail_out == 0);
  } while (count > 0);
  deflateEnd(&zlib);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc == 3 && strcmp(argv[1], "--tiles") == 0) {
      writeTiles(argv[2]);
      return 0;
    }
    cupsraster::cups_raster_t* raster =
        cupsraster::cupsRasterOpen(STDIN_FILENO, cupsraster::CUPS_RASTER_READ);
    if (!raster) throw plat::Exception("standard input is no raster");
    cupsraster::cups_page_header_t header;
    int page = 1;
    for (; cupsRasterReadHeader(raster, &header); ++page) {
      if (page == argc) throw plat::Exception("more pages than files of tile bytes");
      readRows(raster, header);
      deflateTiles(argv[page]);
    }
    cupsRasterClose(raster);
    if (page != argc) throw plat::Exception("fewer pages than files of tile bytes");
  } catch (const plat::Exception& problem) {
    fprintf(stderr, "floor: %s\n", problem.message);
    return 1;
  }
  return 0;
}
