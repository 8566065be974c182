#include "apps/cups-qolt/CupsPixelBuffer.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <string>
#include <vector>

#include "apps/cups-qolt/RasterStreams.h"
#include "base/plat/unix/OwnedFd.h"
#include "tests/support/cupsimage/library.h"
#include "tests/support/descriptors.h"
#include "tests/support/rasterWriter.h"
#include "tests/support/streams.h"

using namespace cupsraster;
using rfb::Rect;
using test::CupsImage;
using test::RasterPage;

namespace {

// A document in a regular file, whose offset tells how far it was read.
struct Document {
  explicit Document(const std::string& bytes)
      : fd(test::memoryFile(bytes)), streams(fd.get(), "document"), page(&streams, 64) {}

  // Lines of the first page that were read.
  int linesRead(const RasterPage& first) const {
    return static_cast<int>((lseek(fd.get(), 0, SEEK_CUR) - 4 - 1796) / first.bytesPerLine);
  }

  plat::OwnedFd fd;
  RasterStreams streams;
  CupsPixelBuffer page;
};

std::string pixelsOf(const RasterPage& page, const Rect& r) {
  std::string pixels;
  for (int y = r.tl.y; y < r.br.y; ++y) {
    pixels += page.lines.substr(
        size_t{page.bytesPerLine} * static_cast<size_t>(y) + 3 * static_cast<size_t>(r.tl.x),
        3 * static_cast<size_t>(r.width()));
  }
  return pixels;
}

std::string pixelsOf(CupsPixelBuffer& page, const Rect& r) {
  std::string pixels(3 * static_cast<size_t>(r.width() * r.height()), '\0');
  page.getImage(pixels.data(), r, r.width());
  return pixels;
}

// The first pixels of a document's pages.
std::vector<std::string> firstPixels(CupsPixelBuffer& page) {
  std::vector<std::string> pixels;
  while (page.nextPage()) pixels.push_back(pixelsOf(page, {0, 0, 1, 1}));
  EXPECT_FALSE(page.nextPage());
  return pixels;
}

RasterPage pageOf(uint32_t width, uint32_t height, uint32_t bytesPerLine) {
  RasterPage page;
  page.width = width;
  page.height = height;
  page.bytesPerLine = bytesPerLine;
  return page;
}

class CupsPixelBufferTest : public testing::TestWithParam<CupsImage> {
 protected:
  template <class Body>
  void with(Body body) {
    test::withCupsImage(GetParam(), [&](StandIn*) { body(); });
  }
};

INSTANTIATE_TEST_SUITE_P(With, CupsPixelBufferTest,
                         testing::Values(CupsImage::standIn, CupsImage::real),
                         testing::PrintToStringParamName());

TEST_P(CupsPixelBufferTest, rowsAreReadOnceAndServedFromTheCache) {
  with([] {
    RasterPage lines = test::randomPage(150, 170, 9);
    Document document(test::rasterStream("RaS3", {lines}));
    CupsPixelBuffer& page = document.page;
    ASSERT_TRUE(page.nextPage());
    EXPECT_EQ(page.getRect(), Rect(0, 0, 150, 170));

    int stride = -1;
    page.getPixelsR({7, 3, 7, 5}, &stride);
    page.getPixelsR({7, 5, 9, 5}, &stride);
    EXPECT_EQ(stride, -1);
    EXPECT_EQ(document.linesRead(lines), 0);

    for (int top = 0; top < 170; top += 64) {
      int bottom = std::min(top + 64, 170);
      for (int left = 0; left < 150; left += 64) {
        Rect tile(left, top, std::min(left + 64, 150), bottom);
        EXPECT_EQ(pixelsOf(page, tile), pixelsOf(lines, tile));
        EXPECT_EQ(document.linesRead(lines), bottom);
      }
    }
    page.getPixelsR({10, 140, 20, 150}, &stride);
    EXPECT_EQ(stride, 150);
    EXPECT_EQ(document.linesRead(lines), 170);
    EXPECT_FALSE(page.nextPage());
  });
}

TEST_P(CupsPixelBufferTest, requestsGoForwardsAndPassOverRows) {
  with([] {
    RasterPage lines = test::randomPage(4, 200), next = test::randomPage(9, 3, 3, 2);
    Document document(test::rasterStream("RaS3", {lines, next}));
    CupsPixelBuffer& page = document.page;
    ASSERT_TRUE(page.nextPage());
    page.getPixelsR({0, 0, 4, 64}, nullptr);
    page.getPixelsR({0, 10, 4, 20}, nullptr);
    EXPECT_THROW(page.getPixelsR({0, 32, 4, 96}, nullptr), plat::AssertionFail);
    EXPECT_EQ(pixelsOf(page, {0, 100, 4, 164}), pixelsOf(lines, {0, 100, 4, 164}));
    EXPECT_EQ(document.linesRead(lines), 164);
    // The rest of the page is passed over, and the cache of one page is not that of the next.
    ASSERT_TRUE(page.nextPage());
    EXPECT_EQ(pixelsOf(page, {0, 0, 9, 3}), pixelsOf(next, {0, 0, 9, 3}));
    EXPECT_THROW(page.getPixelsR({0, 0, 10, 3}, nullptr), plat::AssertionFail);
    EXPECT_FALSE(page.nextPage());
    EXPECT_THROW(page.getPixelsR({0, 0, 1, 1}, nullptr), plat::AssertionFail);
  });
}

TEST_P(CupsPixelBufferTest, dataThatEndsInARequestedRowThrows) {
  with([] {
    RasterPage lines = test::randomPage(4, 100);
    lines.lines.resize(12 * 70 - 1);
    Document document(test::rasterStream("RaS3", {lines}));
    ASSERT_TRUE(document.page.nextPage());
    EXPECT_EQ(pixelsOf(document.page, {0, 0, 4, 69}), pixelsOf(lines, {0, 0, 4, 69}));
    // The same request used to be answered with whatever lay in the block.
    for (int row : {69, 69, 80}) {
      EXPECT_EQ(fakes::thrownBy([&] {
                  pixelsOf(document.page, {0, row, 4, row + 1});
                }),
                ": Unexpected end of CUPS page data");
    }
    EXPECT_FALSE(document.page.nextPage());
  });
}

// A header alone used to cost a gigabyte.
TEST_P(CupsPixelBufferTest, linesTakeMemoryAsTheyArrive) {
  with([] {
    Document document(test::rasterStream("RaS3", {pageOf(5592404, 64, 3 * 5592404)}));
    ASSERT_TRUE(document.page.nextPage());
    EXPECT_EQ(fakes::thrownBy([&] {
                document.page.getPixelsR({0, 0, 5592404, 64}, nullptr);
              }),
              ": Unexpected end of CUPS page data");
    rusage usage;
    ASSERT_EQ(getrusage(RUSAGE_SELF, &usage), 0);
    EXPECT_LT(usage.ru_maxrss, 512 * 1024);  // KiB
  });
}

// The system tests have the message.
TEST_P(CupsPixelBufferTest, pageOfAnotherFormatIsToldAndPassedOver) {
  with([] {
    const RasterPage good = test::randomPage(1, 1);
    for (auto [bitsPerColor, bitsPerPixel, colorSpace] :
         {std::array{16u, 24u, 1u}, {8u, 32u, 1u}, {8u, 24u, 19u}}) {
      RasterPage other = test::randomPage(16, 2);
      other.bitsPerColor = bitsPerColor;
      other.bitsPerPixel = bitsPerPixel;
      other.colorSpace = colorSpace;
      Document document(test::rasterStream("RaS3", {good, other}) +
                        test::rasterStream("RaS3", {good}));
      EXPECT_TRUE(document.page.nextPage());
      EXPECT_FALSE(document.page.nextPage());
      EXPECT_THROW(document.page.getPixelsR({0, 0, 1, 1}, nullptr), plat::AssertionFail);
      EXPECT_EQ(firstPixels(document.page).size(), 1u) << colorSpace;
    }
  });
}

TEST_P(CupsPixelBufferTest, pageSizesBeyondReasonAreRefused) {
  with([] {
    const struct {
      uint32_t width, height, bytesPerLine;
      bool refused;
    } rows[] = {{100000, 1, 3, true},
                {2, 1, 3, true},
                {1431655766, 1, 6, true},  // 3 bytes a pixel make 2 in 32 bits
                {0xffffffff, 1, 2147483646, true},
                {1, 1, 2147483646, true},
                {1, 1, 1073741634, false},
                {1, 1, 1073741637, true},
                {5592405, 1, 16777215, false},
                {5592406, 1, 16777218, true},
                {1, 536870911, 3, false},
                {1, 536870912, 3, true},
                {1, 0xffffffff, 3, true},
                {0, 1, 3, false},
                {1, 0, 3, false}};
    for (const auto& [width, height, bytesPerLine, refused] : rows) {
      Document document(test::rasterStream("RaS3", {pageOf(width, height, bytesPerLine)}));
      std::string message = ": Invalid CUPS page size: " + std::to_string(width) + " x " +
                            std::to_string(height) + ", " + std::to_string(bytesPerLine) +
                            " bytes per line";
      EXPECT_EQ(fakes::thrownBy([&] { document.page.nextPage(); }), refused ? message : "")
          << message;
    }
  });
}

TEST_P(CupsPixelBufferTest, pagesOfAllStreamsAreOneDocument) {
  with([] {
    std::vector<RasterPage> pages;
    for (uint32_t seed = 1; seed <= 5; ++seed) pages.push_back(test::randomPage(3, 4, 3, seed));
    RasterPage damaged = pages[0];
    damaged.bytesPerLine = 0;
    damaged.lines.clear();
    std::string bytes =
        test::rasterStream("RaS3", {pages[0], pages[1]}) + test::rasterStream("3SaR", {pages[2]}) +
        test::rasterStream("RaSt", {}) + test::rasterStream("tSaR", {pages[3]}) +
        test::rasterStream("RaS3", {damaged}) + test::rasterStream("RaS3", {pages[4]});
    std::vector<std::string> expected;
    for (const RasterPage& page : pages) expected.push_back(page.lines.substr(0, 3));

    Document document(bytes);
    EXPECT_EQ(firstPixels(document.page), expected);
    // A tail that is no sync word, or not all of one, is the end.
    for (const char* tail : {"", "R", "Ra", "RaS", "RaX", "RaSx", "3Sa"}) {
      for (size_t chunk : {1, 1024}) {
        SCOPED_TRACE(tail);
        test::FedPipe pipe(bytes + tail, chunk);
        RasterStreams streams(pipe.fd(), "pipe");
        CupsPixelBuffer page(&streams, 64);
        EXPECT_EQ(firstPixels(page), expected);
      }
    }
  });
}

TEST(CupsPixelBuffer, compressedStreamIsFollowedByNone) {
  test::withCupsImage(CupsImage::real, [](StandIn*) {
    std::string compressed = test::rasterStream("2SaR", {test::randomPage(2, 2)});
    std::string plain = test::rasterStream("3SaR", {test::randomPage(2, 2)});
    Document plainFirst(plain + compressed + plain), compressedFirst(compressed + plain);
    EXPECT_EQ(firstPixels(plainFirst.page).size(), 2u);
    EXPECT_EQ(firstPixels(compressedFirst.page).size(), 1u);
  });
}

TEST(CupsPixelBuffer, shortReadsMatterOnlyInRequestedRows) {
  test::withCupsImage(CupsImage::standIn, [](StandIn* standIn) {
    RasterPage lines = test::randomPage(2, 10);
    {
      Document document(test::rasterStream("RaS3", {lines, lines}));
      ASSERT_TRUE(document.page.nextPage());
      standIn->rowsUntilShortRead = 1;
      EXPECT_EQ(pixelsOf(document.page, {0, 3, 2, 5}), pixelsOf(lines, {0, 3, 2, 5}));
      standIn->rowsUntilShortRead = 2;
      ASSERT_TRUE(document.page.nextPage());
      standIn->rowsUntilShortRead = 4;
      EXPECT_THROW(document.page.getPixelsR({0, 3, 2, 5}, nullptr), plat::Exception);
      standIn->headersUntilFailure = 0;
      EXPECT_FALSE(document.page.nextPage());
      EXPECT_EQ(standIn->closed, 0);
    }
    EXPECT_EQ(standIn->closed, 1);
  });
}

}  // namespace
