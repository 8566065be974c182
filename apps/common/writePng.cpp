#include "apps/common/writePng.h"

#include "apps/common/PngWriter.h"
#include "base/plat/Exception.h"
#include "base/plat/path.h"
#include "base/rdr/FileInStream.h"
#include "libs/pagefile/PageFileReader.h"

namespace png {

void writePng(pagefile::PageFileReader& page, FILE* out) {
  const pagefile::PageHeader& header = page.header();
  const pagefile::Band* band = page.nextBand();
  if (!band) throw PngError("an empty page has no picture");
  PngWriter writer(out, {header.width, header.height, header.widthMm10, header.heightMm10});
  for (; band; band = page.nextBand()) {
    for (uint32_t y = 0; y < band->rows; y++) {
      writer.writeRow(band->pixels + static_cast<size_t>(y) * header.width);
    }
  }
  writer.finish();
}

void writePng(FILE* pageFile, const char* name, FILE* out) {
  try {
    rdr::FileInStream in(pageFile, false);
    pagefile::PageFileReader page(in);
    writePng(page, out);
  } catch (const plat::Exception& problem) {
    throw plat::ExceptionFmt("%s: %s", plat::baseName(name).get(), problem.message);
  }
}

}  // namespace png
