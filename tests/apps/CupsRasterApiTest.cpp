#include "apps/cups-qolt/CupsRasterApi.h"

#include <gtest/gtest.h>

#include <string>

#include "base/plat/unix/OwnedFd.h"
#include "tests/support/cupsimage/library.h"
#include "tests/support/descriptors.h"
#include "tests/support/rasterWriter.h"
#include "tests/support/streams.h"

using namespace cupsraster;
using test::CupsImage;

namespace {

void expectPagesAreRead(const std::string& syncWord) {
  SCOPED_TRACE(syncWord);
  test::RasterPage first = test::randomPage(5, 7, 6, 1), second = test::randomPage(3, 2, 0, 2);
  second.resolution[0] = 600;
  second.pageSize[1] = 70000;
  plat::OwnedFd fd(test::memoryFile(test::rasterStream(syncWord, {first, second})));
  cups_raster_t* raster = cupsRasterOpen(fd.get(), CUPS_RASTER_READ);
  ASSERT_TRUE(raster);
  cups_page_header_t header;
  for (const test::RasterPage& page : {first, second}) {
    ASSERT_NE(cupsRasterReadHeader(raster, &header), 0u);
    EXPECT_EQ(header.cupsWidth, page.width);
    EXPECT_EQ(header.cupsHeight, page.height);
    EXPECT_EQ(header.cupsBytesPerLine, page.bytesPerLine);
    EXPECT_EQ(header.cupsBitsPerColor, page.bitsPerColor);
    EXPECT_EQ(header.cupsBitsPerPixel, page.bitsPerPixel);
    EXPECT_EQ(header.cupsColorSpace, page.colorSpace);
    EXPECT_EQ(header.HWResolution[0], page.resolution[0]);
    EXPECT_EQ(header.HWResolution[1], page.resolution[1]);
    EXPECT_EQ(header.PageSize[0], page.pageSize[0]);
    EXPECT_EQ(header.PageSize[1], page.pageSize[1]);
    std::string lines;
    for (unsigned row = 0; row < header.cupsHeight; ++row) {
      std::string line(header.cupsBytesPerLine, '\0');
      auto* bytes = reinterpret_cast<unsigned char*>(line.data());
      EXPECT_EQ(cupsRasterReadPixels(raster, bytes, header.cupsBytesPerLine), line.size());
      lines += line;
    }
    EXPECT_EQ(lines, page.lines);
  }
  EXPECT_EQ(cupsRasterReadHeader(raster, &header), 0u);
  cupsRasterClose(raster);
}

TEST(CupsRasterApi, standInReadsPagesOfEachUncompressedVersion) {
  test::withCupsImage(CupsImage::standIn, [](StandIn* standIn) {
    for (const char* word : {"RaSt", "tSaR", "RaS3", "3SaR"}) expectPagesAreRead(word);
    EXPECT_EQ(standIn->closed, 4);
  });
}

TEST(CupsRasterApi, realLibraryReadsPagesOfEachVersion) {
  test::withCupsImage(CupsImage::real, [](StandIn*) {
    for (const char* word : {"RaSt", "tSaR", "RaS3", "3SaR", "RaS2", "2SaR"}) {
      expectPagesAreRead(word);
    }
  });
}

TEST(CupsRasterApi, everyCallOfAMissingFunctionThrows) {
  test::withCupsImage(CupsImage::withoutReadPixels, [](StandIn*) {
    plat::OwnedFd fd(test::memoryFile(test::rasterStream("RaS3", {test::randomPage(1, 1)})));
    cups_raster_t* raster = cupsRasterOpen(fd.get(), CUPS_RASTER_READ);
    cups_page_header_t header;
    EXPECT_EQ(cupsRasterReadHeader(raster, &header), 1u);
    for (int call = 0; call < 2; ++call) {
      unsigned char line[3];
      EXPECT_EQ(fakes::thrownBy([&] { cupsRasterReadPixels(raster, line, sizeof line); }),
                "DynamicFnLoadFailed: Function cupsRasterReadPixels not found in cupsimage[2] "
                "library");
    }
    cupsRasterClose(raster);
  });
}

}  // namespace
