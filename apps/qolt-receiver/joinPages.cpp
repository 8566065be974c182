#include "apps/qolt-receiver/joinPages.h"

#include <memory>
#include <new>
#include <qpdf/Pl_Flate.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>
#include <qpdf/QPDFSystemError.hh>
#include <qpdf/QPDFWriter.hh>

#include "apps/common/PackedPage.h"
#include "apps/common/PngWriter.h"
#include "apps/qolt-receiver/openJobFile.h"
#include "base/plat/Exception.h"
#include "base/plat/path.h"
#include "base/plat/utf8.h"
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
  PagePicture(const std::string& pagePath, const pagefile::PageHeader& pageHeader,
              const png::PictureForm& pageForm, size_t number, size_t pageCount)
      : path(pagePath), header(pageHeader), form(pageForm), pageNumber(number), count(pageCount) {}

  void provideStreamData(const QPDFObjGen&, Pipeline* pipeline) override {
    try {
      OpenPage open(path);
      if (open.page.header().width != header.width || open.page.header().height != header.height) {
        throw plat::Exception("the page has changed");
      }
      if (form.kind == png::PictureForm::Kind::rgb) {
        writeRgb(open.page, pipeline);
      } else {
        const png::PackedPage packed = png::packPage(open.page);
        pipeline->write(packed.rows.data(), packed.rows.size());
      }
    } catch (const plat::SystemException&) {
      throw;
    } catch (const plat::Exception& problem) {
      throw plat::ExceptionFmt("%s: %s", plat::baseName(path.c_str()).get(), problem.message);
    }
    pipeline->finish();
    printf("page %zu of %zu\n", pageNumber, count);
  }

 private:
  void writeRgb(pagefile::PageFileReader& page, Pipeline* pipeline) {
    std::vector<uint8_t> row(form.rowBytes(header.width));
    while (const pagefile::Band* band = page.nextBand()) {
      for (uint32_t y = 0; y < band->rows; y++) {
        png::fillRgbRow(band->pixels + size_t{y} * header.width, header.width, row.data());
        pipeline->write(row.data(), row.size());
      }
    }
  }

  std::string path;
  pagefile::PageHeader header;
  png::PictureForm form;
  size_t pageNumber, count;
};

// ISO 32000-1 section 8.6.
QPDFObjectHandle colourSpace(const png::PictureForm& form) {
  if (form.kind == png::PictureForm::Kind::rgb) return QPDFObjectHandle::newName("/DeviceRGB");
  if (form.kind == png::PictureForm::Kind::grey) return QPDFObjectHandle::newName("/DeviceGray");
  std::string table;
  for (uint32_t colour : form.palette) {
    for (int shift : {16, 8, 0}) table += static_cast<char>(colour >> shift);
  }
  return QPDFObjectHandle::newArray(
      {QPDFObjectHandle::newName("/Indexed"), QPDFObjectHandle::newName("/DeviceRGB"),
       QPDFObjectHandle::newInteger(static_cast<int>(form.palette.size()) - 1),
       QPDFObjectHandle::newString(table)});
}

// Without a known size a pixel is a point.
double points(uint32_t pixels, uint32_t mm10) {
  return mm10 ? mm10 * 72 / 254.0 : pixels;
}

// The page of a picture that fills it.
QPDFObjectHandle makePage(QPDF& pdf, const std::string& path, size_t number, size_t count) {
  OpenPage open(path);
  const pagefile::PageHeader header = open.page.header();
  png::PictureForm form;
  try {
    if (header.width == 0 || header.height == 0) {
      throw plat::Exception("an empty page has no picture");
    }
    form = png::packPage(open.page).form;
  } catch (const plat::SystemException&) {
    throw;
  } catch (const plat::Exception& problem) {
    throw plat::ExceptionFmt("%s: %s", plat::baseName(path.c_str()).get(), problem.message);
  }
  QPDFObjectHandle picture = pdf.newStream();
  QPDFObjectHandle dictionary = QPDFObjectHandle::parse("<</Type /XObject /Subtype /Image>>");
  dictionary.replaceKey("/Width", QPDFObjectHandle::newInteger(header.width));
  dictionary.replaceKey("/Height", QPDFObjectHandle::newInteger(header.height));
  dictionary.replaceKey("/ColorSpace", colourSpace(form));
  dictionary.replaceKey("/BitsPerComponent", QPDFObjectHandle::newInteger(form.bits));
  picture.replaceDict(dictionary);
  picture.replaceStreamData(std::make_shared<PagePicture>(path, header, form, number, count),
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

void joinPages(const std::vector<std::string>& pages, const std::string& title, FILE* document) {
  try {
    QPDF pdf;
    pdf.emptyPDF();
    QPDFObjectHandle information = pdf.makeIndirectObject(QPDFObjectHandle::newDictionary());
    information.replaceKey(
        "/Title", QPDFObjectHandle::newUnicodeString(plat::fixUtf8(title.c_str()).orEmpty()));
    pdf.getTrailer().replaceKey("/Info", information);
    QPDFPageDocumentHelper tree(pdf);
    for (size_t i = 0; i < pages.size(); i++) {
      tree.addPage(QPDFPageObjectHelper(makePage(pdf, pages[i], i + 1, pages.size())), false);
    }
    Pl_Flate::setCompressionLevel(png::compressionLevel);
    QPDFWriter writer(pdf, "document", document, false);
    writer.write();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const QPDFSystemError& problem) {
    throw plat::SystemException("writing the PDF document", problem.getErrno());
  } catch (const std::exception& problem) {
    throw plat::ExceptionFmt("writing the PDF document: %s", problem.what());
  }
}

}  // namespace receiver
