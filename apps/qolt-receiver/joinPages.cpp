#include "apps/qolt-receiver/joinPages.h"

#include <memory>
#include <qpdf/Pl_Flate.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>
#include <qpdf/QPDFWriter.hh>

#include "apps/common/PngWriter.h"
#include "apps/qolt-receiver/openJobFile.h"
#include "base/plat/Exception.h"
#include "base/plat/path.h"
#include "base/rdr/FileInStream.h"
#include "libs/pagefile/PageFileReader.h"

namespace receiver {

namespace {

// A page file that is open.
struct OpenPage {
  explicit OpenPage(const std::string& path)
      : file(openJobFile(path.c_str())), stream(file.get(), false), page(stream) {}

  plat::FilePtr file;
  rdr::FileInStream stream;
  pagefile::PageFileReader page;
};

// The samples of a page, read when they are written.
class PagePicture : public QPDFObjectHandle::StreamDataProvider {
 public:
  PagePicture(const std::string& pagePath, const pagefile::PageHeader& pageHeader, size_t number,
              size_t pageCount)
      : path(pagePath), header(pageHeader), pageNumber(number), count(pageCount) {}

  void provideStreamData(const QPDFObjGen&, Pipeline* pipeline) override {
    try {
      OpenPage open(path);
      if (open.page.header().width != header.width || open.page.header().height != header.height) {
        throw plat::Exception("the page has changed");
      }
      std::vector<unsigned char> row;
      while (const pagefile::Band* band = open.page.nextBand()) {
        // Not before: the reader refuses what is too wide.
        row.resize(size_t{header.width} * 3);
        for (uint32_t y = 0; y < band->rows; y++) {
          fillRow(band->pixels + size_t{y} * header.width, row);
          pipeline->write(row.data(), row.size());
        }
      }
    } catch (const plat::Exception& problem) {
      throw plat::ExceptionFmt("%s: %s", plat::baseName(path.c_str()).get(), problem.message);
    }
    pipeline->finish();
    printf("page %zu of %zu\n", pageNumber, count);
  }

 private:
  void fillRow(const uint32_t* pixels, std::vector<unsigned char>& row) const {
    unsigned char* sample = row.data();
    for (uint32_t x = 0; x < header.width; x++) {
      *sample++ = static_cast<unsigned char>(pixels[x] >> 16);
      *sample++ = static_cast<unsigned char>(pixels[x] >> 8);
      *sample++ = static_cast<unsigned char>(pixels[x]);
    }
  }

  std::string path;
  pagefile::PageHeader header;
  size_t pageNumber, count;
};

// Without a known size a pixel is a point.
double points(uint32_t pixels, uint32_t mm10) {
  return mm10 ? mm10 * 72 / 254.0 : pixels;
}

// The page of a picture that fills it.
QPDFObjectHandle makePage(QPDF& pdf, const std::string& path, size_t number, size_t count) {
  const pagefile::PageHeader header = OpenPage(path).page.header();
  if (header.width == 0 || header.height == 0) {
    throw plat::ExceptionFmt("%s: an empty page has no picture",
                             plat::baseName(path.c_str()).get());
  }
  QPDFObjectHandle picture = pdf.newStream();
  picture.replaceDict(QPDFObjectHandle::parse(
      "<</Type /XObject /Subtype /Image /ColorSpace /DeviceRGB /BitsPerComponent 8>>"));
  picture.getDict().replaceKey("/Width", QPDFObjectHandle::newInteger(header.width));
  picture.getDict().replaceKey("/Height", QPDFObjectHandle::newInteger(header.height));
  picture.replaceStreamData(std::make_shared<PagePicture>(path, header, number, count),
                            QPDFObjectHandle::newNull(), QPDFObjectHandle::newNull());

  const double width = points(header.width, header.widthMm10);
  const double height = points(header.height, header.heightMm10);
  const std::string widthText = QPDFObjectHandle::newReal(width, 2).unparse();
  const std::string heightText = QPDFObjectHandle::newReal(height, 2).unparse();
  QPDFObjectHandle page = pdf.makeIndirectObject(
      QPDFObjectHandle::parse("<</Type /Page /Resources <</XObject <<>>>> /MediaBox [0 0 " +
                              widthText + " " + heightText + "]>>"));
  page.getKey("/Resources").getKey("/XObject").replaceKey("/Page", picture);
  page.replaceKey("/Contents",
                  pdf.newStream("q " + widthText + " 0 0 " + heightText + " 0 0 cm /Page Do Q\n"));
  return page;
}

}  // namespace

void joinPages(const std::vector<std::string>& pages, FILE* document) {
  try {
    QPDF pdf;
    pdf.emptyPDF();
    QPDFPageDocumentHelper tree(pdf);
    for (size_t i = 0; i < pages.size(); i++) {
      tree.addPage(QPDFPageObjectHelper(makePage(pdf, pages[i], i + 1, pages.size())), false);
    }
    Pl_Flate::setCompressionLevel(png::compressionLevel);
    QPDFWriter writer(pdf, "document", document, false);
    writer.write();
  } catch (const std::exception& problem) {
    throw plat::ExceptionFmt("writing the PDF document: %s", problem.what());
  }
}

}  // namespace receiver
