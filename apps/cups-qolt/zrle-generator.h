#pragma once

#include <vector>

#include "base/plat/String.h"

namespace cupsraster {
class CupsPixelBuffer;
}
namespace rdr {
class OutStream;
}
namespace rfb {
class PixelBuffer;
}

// Turns every page of a CUPS raster document into a page file job::pagePath() of the
// account that this process runs as, and appends their paths to `files` in page order.
// A null or empty fileName is standard input. The document ends at a page of another
// format than 8-bit RGB, which is no error. Throws plat::Exception; page files stay then,
// the one being written too.
void generateZrlePages(const char* fileName, const char* prefix, std::vector<plat::String>& files);

// Writes the pixels from (0,0) to (width, height) as one framed message that holds one
// ZRLE rectangle. The message is complete and can be decoded by itself; it is not flushed.
void encodePage(rdr::OutStream& out, int width, int height, rfb::PixelBuffer& source,
                cupsraster::CupsPixelBuffer* page = nullptr);
