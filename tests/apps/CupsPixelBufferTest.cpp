#include "apps/cups-qolt/CupsPixelBuffer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <csignal>
#include <string>

#include "apps/cups-qolt/RasterStreams.h"
#include "base/plat/unix/OwnedFd.h"
#include "tests/support/cupsimage/library.h"
#include "tests/support/descriptors.h"
#include "tests/support/rasterWriter.h"
#include "tests/support/thrownBy.h"

using namespace cupsraster;
using rfb::Rect;
using test::RasterPage;
using test::rasterStream;

namespace {

struct Document {
  explicit Document(int fd) : streams(fd, "document"), page(&streams, 64) {}
  explicit Document(const std::string& bytes) : Document(test::memoryFile(bytes)) {}

  RasterStreams streams;
  CupsPixelBuffer page;
};

// The pixels, or what is thrown instead of them.
std::string pixelsOf(CupsPixelBuffer& page, const Rect& r) {
  std::string pixels(3 * r.width() * r.height(), '\0');
  const std::string thrown = fakes::thrownBy([&] { page.getImage(pixels.data(), r, r.width()); });
  return thrown.empty() ? pixels : thrown.substr(0, 34);
}
constexpr char assertion[] = "AssertionFail: Assertion '(state =";
constexpr char brokenOff[] = ": Unexpected end of CUPS page data";

std::string pixelsOf(const RasterPage& page, const Rect& r) {
  std::string pixels;
  for (size_t y = r.tl.y; y < size_t(r.br.y); ++y) {
    pixels += page.lines.substr(page.bytesPerLine * y + 3 * r.tl.x, 3 * r.width());
  }
  return pixels;
}

const Rect first(0, 0, 1, 1);

// A page that its width tells from others.
RasterPage pageOf(uint32_t width) {
  return test::randomPage(width, 4, 3, width);
}

// The widths of the document's pages, and "|" wherever there is none; or what is thrown.
std::string walk(int fd) {
  std::string log;
  const std::string thrown = fakes::thrownBy([&] {
    Document document(fd);
    for (int ends = 0; ends < 3; ends += log.back() == '|') {
      const bool isPage = document.page.nextPage();
      const uint32_t width = document.page.getHeader().cupsWidth;
      EXPECT_EQ(pixelsOf(document.page, first),
                isPage ? pixelsOf(pageOf(width), first) : assertion);
      log += isPage ? std::to_string(width) : "|";
    }
  });
  return thrown.empty() ? log : thrown;
}

}  // namespace

INSTANTIATE_CUPS_IMAGES(CupsPixelBufferTest);

TEST_P(CupsPixelBufferTest, requestsGoForwardsAndTheRowsOfTheLastAreKept) {
  with([](StandIn*) {
    const RasterPage lines = test::randomPage(150, 170, 9), next = pageOf(9);
    Document document(rasterStream("RaS3", {lines, next}));
    CupsPixelBuffer& page = document.page;
    ASSERT_TRUE(page.nextPage());
    int stride = -1;
    page.getPixelsR({7, 5, 9, 5}, &stride);  // nothing
    EXPECT_EQ(stride, -1);
    for (const Rect& r : {Rect(0, 0, 64, 64), Rect(64, 0, 150, 64), Rect(149, 63, 150, 64),
                          Rect(1, 64, 2, 65), Rect(0, 64, 150, 65), Rect(0, 100, 4, 164),
                          Rect(140, 101, 150, 103), Rect(3, 166, 4, 168)}) {
      EXPECT_TRUE(pixelsOf(page, r) == pixelsOf(lines, r)) << r.tl.y;
    }
    for (const Rect& r : {Rect(0, 167, 1, 169), Rect(0, 168, 151, 169), Rect(-1, 168, 1, 169)}) {
      EXPECT_THROW(page.getPixelsR(r, nullptr), plat::AssertionFail) << r.tl.x;
    }
    // The rest of the page is passed over, and what is kept of it is not the next one's.
    ASSERT_TRUE(page.nextPage());
    EXPECT_EQ(pixelsOf(page, {0, 0, 9, 4}), pixelsOf(next, {0, 0, 9, 4}));
  });
}

// The request used to be answered with whatever lay in the block when it was made again.
TEST(CupsPixelBuffer, shortReadsMatterOnlyInRequestedRows) {
  test::withCupsImage(test::CupsImage::standIn, [](StandIn* standIn) {
    const RasterPage lines = test::randomPage(2, 10);
    Document document(rasterStream("RaS3", {lines, lines}));
    ASSERT_TRUE(document.page.nextPage());
    standIn->rowsUntilShortRead = 1;
    EXPECT_EQ(pixelsOf(document.page, {0, 3, 2, 5}), pixelsOf(lines, {0, 3, 2, 5}));
    standIn->rowsUntilShortRead = 2;
    ASSERT_TRUE(document.page.nextPage());
    standIn->rowsUntilShortRead = 4;
    for (int y : {3, 3, 5}) EXPECT_EQ(pixelsOf(document.page, {0, y, 2, y + 2}), brokenOff);
  });
}

// The work itself brings the lines: without it, and where it comes too late, nothing ever would.
TEST_P(CupsPixelBufferTest, idleWorkIsDoneWhileLinesHaveNotComeUntilTheNextPage) {
  with([](StandIn*) {
    for (uint32_t padding : {0, 6}) {
      const RasterPage lines = test::randomPage(1000, 70, padding), next = pageOf(9);
      const std::string bytes = rasterStream("RaS3", {lines, next});
      int ends[2];
      ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
      plat::OwnedFd in(ends[0]), out(ends[1]);
      size_t sent = 0;
      const auto send = [&](size_t count) {
        sent += static_cast<size_t>(write(out.get(), bytes.data() + sent, count));
      };
      send(4 + 1796 + 3 * lines.bytesPerLine);
      alarm(20);
      Document document(in.get());
      ASSERT_TRUE(document.page.nextPage());
      size_t calls = 0;
      document.page.setIdleWork([&] {
        ++calls;
        if (sent < bytes.size()) send(std::min<size_t>(100, bytes.size() - sent));
        return true;
      });
      const Rect early(0, 0, 1000, 3), late(0, 3, 1000, 67);
      EXPECT_TRUE(pixelsOf(document.page, early) == pixelsOf(lines, early));
      EXPECT_EQ(calls, 0u);
      EXPECT_TRUE(pixelsOf(document.page, late) == pixelsOf(lines, late));
      EXPECT_EQ(calls, (64 * lines.bytesPerLine + 99) / 100);
      send(bytes.size() - sent - 1);
      close(out.release());
      ASSERT_TRUE(document.page.nextPage());
      const size_t before = calls;
      EXPECT_EQ(pixelsOf(document.page, {0, 0, 9, 4}), brokenOff);
      EXPECT_EQ(calls, before);
      alarm(0);
    }
  });
}

TEST_P(CupsPixelBufferTest, sizesBeyondReasonAreRefusedAndOthersTakeMemoryAsLinesArrive) {
  with([](StandIn*) {
    const Rect band(0, 0, INT_MAX, 64);
    const auto thrownAt = [&](const RasterPage& withoutLines) {
      Document document(rasterStream("RaS3", {withoutLines}));
      CupsPixelBuffer& page = document.page;
      std::string thrown = fakes::thrownBy([&] {
        if (page.nextPage()) page.getPixelsR(page.getRect().intersect(band), nullptr);
      });
      EXPECT_FALSE(page.nextPage());
      return thrown;
    };
    // 3 bytes a pixel can make 2 in 32 bits.
    const RasterPage refused[] = {{2, 1, 3},          {1431655766, 1, 6},     {1, ~0u, 3},
                                  {1, 1, 1073741637}, {5592406, 1, 16777218}, {1, 536870912, 3}};
    const RasterPage accepted[] = {
        {2, 1, 6}, {1, 1, 1073741634}, {5592405, 64, 16777215}, {1, 536870911, 3}, {0, 1, 3}};
    for (const RasterPage& page : refused) {
      EXPECT_EQ(thrownAt(page).substr(0, 25), ": Invalid CUPS page size:") << page.bytesPerLine;
    }
    for (const RasterPage& page : accepted) EXPECT_EQ(thrownAt(page), page.width ? brokenOff : "");
    // A header alone used to cost a gigabyte.
    rusage usage;
    ASSERT_EQ(getrusage(RUSAGE_SELF, &usage), 0);
    EXPECT_LT(usage.ru_maxrss, 512 * 1024);  // KiB
  });
}

TEST_P(CupsPixelBufferTest, pagesOfAllStreamsAreOneDocument) {
  with([](StandIn* standIn) {
    signal(SIGPIPE, SIG_IGN);
    const auto expect = [](const std::string& pages, const std::string& bytes) {
      plat::OwnedFd file(test::memoryFile(bytes));
      EXPECT_EQ(walk(file.get()), pages);
      for (size_t chunk : {1, 1024}) {
        test::FedPipe pipe(bytes, chunk);
        EXPECT_EQ(walk(pipe.fd()), pages) << chunk;
      }
    };
    const std::string plain = rasterStream("RaS3", {pageOf(8)}),
                      packed = rasterStream("2SaR", {pageOf(9)});
    std::string all = rasterStream("RaS3", {pageOf(1), pageOf(2)}) + rasterStream("RaSt", {});
    for (const char* word : {"3SaR", "tSaR", "RaSt"}) all += rasterStream(word, {pageOf(3)});
    all += rasterStream("RaS3", {RasterPage{1, 4, 0}}) + plain;
    // A tail that is no sync word, or not all of one, is the end.
    for (const char* end : {"", "R", "Ra", "RaS", "RaX", "RaSx", "3Sa"})
      expect("123338|||", all + end);
    // What has another format is passed over, also lines that are longer than what is read at once.
    for (auto member :
         {&RasterPage::bitsPerColor, &RasterPage::bitsPerPixel, &RasterPage::colorSpace}) {
      RasterPage other = test::randomPage(21848, 1);
      other.*member = 16;
      expect("1|28||", rasterStream("3SaR", {pageOf(1), other, pageOf(2)}) + plain);
    }
    // The library reads ahead in a compressed stream, which the stand-in does not know.
    const char* const refusal = ": cupsRasterOpen('document') failed";
    expect(standIn ? refusal : "89|||", plain + packed + plain);
    expect(standIn ? refusal : "9|||", packed + plain);
  });
}
