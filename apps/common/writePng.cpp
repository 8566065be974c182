#include "apps/common/writePng.h"

#include "apps/common/PngWriter.h"
#include "base/plat/Exception.h"
#include "base/plat/file.h"
#include "base/plat/path.h"
#include "base/rdr/FileInStream.h"

namespace png {

void writePng(const pagefile::PageHeader& header, const PackedPage& packed, FILE* pageFile,
              FILE* out) {
  if (header.width == 0 || header.height == 0) throw PngError("an empty page has no picture");
  PngWriter writer(out, {header.width, header.height, header.widthMm10, header.heightMm10},
                   packed.form);
  const size_t rowBytes = packed.form.rowBytes(header.width);
  if (packed.form.kind == PictureForm::Kind::rgb) {
    plat::fileSeek(pageFile, 0);
    rdr::FileInStream in(pageFile, false);
    pagefile::PageFileReader page(in);
    std::vector<uint8_t> row(rowBytes);
    while (const pagefile::Band* band = page.nextBand()) {
      for (uint32_t y = 0; y < band->rows; y++) {
        fillRgbRow(band->pixels + size_t{y} * header.width, header.width, row.data());
        writer.writeRow(row.data());
      }
    }
  } else {
    for (size_t at = 0; at < packed.rows.size(); at += rowBytes) {
      writer.writeRow(packed.rows.data() + at);
    }
  }
  writer.finish();
}

void writePng(FILE* pageFile, const char* name, FILE* out) {
  try {
    rdr::FileInStream in(pageFile, false);
    pagefile::PageFileReader page(in);
    const PackedPage packed = packPage(page);
    writePng(page.header(), packed, pageFile, out);
  } catch (const plat::SystemException&) {
    throw;
  } catch (const plat::Exception& problem) {
    throw plat::ExceptionFmt("%s: %s", plat::baseName(name).get(), problem.message);
  }
}

}  // namespace png
