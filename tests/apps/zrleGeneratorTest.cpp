#include "apps/cups-qolt/zrle-generator.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "apps/common/jobNames.h"
#include "base/rdr/FileInStream.h"
#include "libs/pagefile/PageFileReader.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/cupsimage/library.h"
#include "tests/support/descriptors.h"
#include "tests/support/rasterWriter.h"
#include "tests/support/streams.h"

using test::CupsImage;
using test::RasterPage;

namespace {

struct PageFile {
  explicit PageFile(const std::string& path) {
    rdr::FileInStream file(path.c_str(), 0);
    pagefile::PageFileReader reader(file);
    header = reader.header();
    while (const pagefile::Band* band = reader.nextBand()) {
      for (size_t i = 0; i < size_t{band->rows} * header.width; ++i) {
        for (int shift : {16, 8, 0}) pixels += static_cast<char>(band->pixels[i] >> shift);
      }
    }
    compressedBytes = reader.counts().compressedBytes;
  }

  std::vector<uint32_t> words() const {
    return {header.width, header.height, header.widthMm10, header.heightMm10, header.paperCode};
  }

  pagefile::PageHeader header;
  std::string pixels;  // red, green, blue
  uint64_t compressedBytes;
};

std::string pixelsOf(const RasterPage& page) {
  std::string pixels;
  for (size_t row = 0; row < page.height; ++row) {
    pixels += page.lines.substr(page.bytesPerLine * row, page.width * 3);
  }
  return pixels;
}

class ZrleGeneratorTest : public testing::TestWithParam<CupsImage> {
 protected:
  template <class Body>
  void with(Body body) {
    test::withCupsImage(GetParam(), [&](StandIn*) { body(); });
  }

  // From a file; "" or what was thrown. `made` gets the names without the folder.
  std::string generate(const std::string& document) {
    test::writeFile(folder / "document", document);
    return run((folder / "document").c_str());
  }

  std::string run(const char* fileName) {
    std::vector<plat::String> files;
    std::string thrown =
        fakes::thrownBy([&] { generateZrlePages(fileName, (folder / "job").c_str(), files); });
    made.clear();
    for (const plat::String& file : files) {
      EXPECT_EQ(std::filesystem::path(file.get()).parent_path(), folder.path());
      made.push_back(std::filesystem::path(file.get()).filename());
    }
    return thrown;
  }

  PageFile pageFile(size_t index) const {
    return PageFile(job::pagePath((folder / "job").c_str(), static_cast<int>(index)).get());
  }

  test::ScratchFolder folder;
  std::vector<std::string> made;
};

INSTANTIATE_TEST_SUITE_P(With, ZrleGeneratorTest,
                         testing::Values(CupsImage::standIn, CupsImage::real),
                         testing::PrintToStringParamName());

TEST_P(ZrleGeneratorTest, everyPageOfEveryStreamBecomesAFileOfItsPixels) {
  with([this] {
    std::vector<RasterPage> pages = {test::randomPage(200, 130, 0, 1),
                                     test::randomPage(64, 64, 6, 2),
                                     test::randomPage(65, 129, 0, 3)};
    std::string document =
        test::rasterStream("RaS3", {pages[0]}) + test::rasterStream("3SaR", {pages[1], pages[2]});
    for (bool piped : {false, true}) {
      SCOPED_TRACE(piped);
      if (piped) {
        test::FedPipe pipe(document, 1000);
        ASSERT_EQ(dup2(pipe.fd(), STDIN_FILENO), STDIN_FILENO);
        EXPECT_EQ(run(nullptr), "");
      } else {
        EXPECT_EQ(generate(document), "");
      }
      EXPECT_EQ(made, (std::vector<std::string>{"job-0.zrle", "job-1.zrle", "job-2.zrle"}));
      for (size_t i = 0; i < pages.size(); ++i) {
        PageFile file = pageFile(i);
        EXPECT_EQ(file.header.width, pages[i].width);
        EXPECT_TRUE(file.pixels == pixelsOf(pages[i])) << i;
        std::filesystem::remove(folder / made[i]);
      }
    }
  });
}

TEST_P(ZrleGeneratorTest, headerTellsSizeAndPaper) {
  with([this] {
    struct {
      uint32_t size[2], resolution[2], pageSize[2];
      std::vector<uint32_t> words;
    } rows[] = {
        {{2480, 1}, {300, 300}, {595, 842}, {2480, 1, 2100, 1, 9}},
        {{1, 3508}, {300, 300}, {595, 842}, {1, 3508, 1, 2970, 9}},
        {{5100, 1}, {600, 300}, {612, 792}, {5100, 1, 2159, 1, 1}},
        {{1, 3300}, {600, 300}, {792, 612}, {1, 3300, 0, 2794, 3}},
        {{1, 2}, {508, 0}, {0, 0}, {1, 2, 1, 0, 27}},
        {{0, 536870911}, {0, 1}, {1300, 1300}, {0, 536870911, 0, 4294967295, 4}},
    };
    std::vector<RasterPage> pages;
    for (auto& row : rows) {
      RasterPage page = test::randomPage(row.size[0], row.size[0] ? row.size[1] : 0);
      page.height = row.size[1];
      page.bytesPerLine = std::max(page.bytesPerLine, 3u);
      std::copy_n(row.resolution, 2, page.resolution);
      std::copy_n(row.pageSize, 2, page.pageSize);
      pages.push_back(page);
    }
    EXPECT_EQ(generate(test::rasterStream("RaS3", pages)), "");
    ASSERT_EQ(made.size(), std::size(rows));
    for (size_t i = 0; i < made.size(); ++i) EXPECT_EQ(pageFile(i).words(), rows[i].words) << i;
  });
}

TEST_P(ZrleGeneratorTest, firstPaperThatHoldsThePageGivesTheCode) {
  with([this] {
    const std::vector<uint32_t> codesAndSizes[] = {
        {27, 312, 624}, {31, 323, 459},  {11, 420, 595},  {28, 459, 649}, {13, 516, 729},
        {10, 538, 781}, {2, 552, 730},   {9, 595, 842},   {1, 612, 792},  {5, 612, 1008},
        {30, 649, 918}, {42, 709, 1001}, {12, 729, 1032}, {3, 792, 1224}, {8, 842, 1191},
        {4, 1224, 792}, {31, 313, 1},    {11, 324, 1},    {8, 842, 595},  {4, 1, 4294967295},
        {10, 1, 781},   {9, 1, 782},     {4, 843, 1},     {4, 1225, 1},
    };
    std::vector<RasterPage> pages;
    for (const std::vector<uint32_t>& row : codesAndSizes) {
      pages.push_back(test::randomPage(1, 1));
      std::copy_n(row.begin() + 1, 2, pages.back().pageSize);
    }
    EXPECT_EQ(generate(test::rasterStream("RaSt", pages)), "");
    for (size_t i = 0; i < made.size(); ++i) {
      EXPECT_EQ(pageFile(i).header.paperCode, codesAndSizes[i][0]) << i;
    }
    EXPECT_EQ(made.size(), std::size(codesAndSizes));
  });
}

TEST_P(ZrleGeneratorTest, pageWithoutPixelsIsTheRectangleHeaderAlone) {
  with([this] {
    RasterPage noWidth = test::randomPage(0, 5, 3), noHeight = test::randomPage(5, 0);
    EXPECT_EQ(generate(test::rasterStream("RaS3", {noWidth, test::randomPage(1, 1), noHeight})),
              "");
    // The real library takes a page without rows for the end of the document.
    ASSERT_EQ(made.size(), GetParam() == CupsImage::real ? 2u : 3u);
    EXPECT_EQ(pageFile(0).compressedBytes, 0u);
    EXPECT_GT(pageFile(1).compressedBytes, 0u);
    for (size_t i = 2; i < made.size(); ++i) EXPECT_EQ(pageFile(i).compressedBytes, 0u);
  });
}

TEST_P(ZrleGeneratorTest, damageEndsTheJobAndKeepsTheFiles) {
  with([this] {
    RasterPage whole = test::randomPage(30, 200), cut = whole, impossible = whole;
    cut.lines.resize(whole.lines.size() - 1);
    impossible.bytesPerLine = 87;
    EXPECT_EQ(generate(test::rasterStream("RaS3", {whole, cut})),
              ": Unexpected end of CUPS page data");
    EXPECT_EQ(made, (std::vector<std::string>{"job-0.zrle"}));
    EXPECT_EQ(pageFile(0).pixels, pixelsOf(whole));
    EXPECT_TRUE(std::filesystem::exists(folder / "job-1.zrle"));
    EXPECT_EQ(generate(test::rasterStream("RaS3", {whole, impossible})),
              ": Invalid CUPS page size: 30 x 200, 87 bytes per line");
    EXPECT_EQ(made.size(), 1u);
  });
}

TEST_P(ZrleGeneratorTest, documentThatCannotBeReadIsNamed) {
  with([this] {
    std::string missing = folder / "missing";
    EXPECT_EQ(run(missing.c_str()),
              "System-2: open(\"" + missing + "\", O_RDONLY): " + "No such file or directory (2)");
    EXPECT_EQ(generate("no raster"), ": cupsRasterOpen('" + (folder / "document") + "') failed");
    ASSERT_EQ(dup2(test::memoryFile(""), STDIN_FILENO), STDIN_FILENO);
    EXPECT_EQ(run(nullptr), ": cupsRasterOpen('[stdin]') failed");
    EXPECT_EQ(run(""), ": cupsRasterOpen('') failed");
  });
}

TEST_P(ZrleGeneratorTest, pageFileReplacesALinkAndFollowsNone) {
  with([this] {
    test::writeFile(folder / "target", "precious");
    std::filesystem::create_symlink(folder / "target", folder / "job-0.zrle");
    EXPECT_EQ(generate(test::rasterStream("RaS3", {test::randomPage(1, 1)})), "");
    EXPECT_EQ(test::readFile(folder / "target"), "precious");
    EXPECT_FALSE(std::filesystem::is_symlink(folder / "job-0.zrle"));
  });
}

// The account owns the copy and may put anything in its place. A fifo used to hang the job.
TEST_P(ZrleGeneratorTest, storedInputIsARegularFile) {
  with([this] {
    const std::string fifo = folder / "fifo", link = folder / "link";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    test::writeFile(folder / "other", test::rasterStream("RaS3", {}));
    std::filesystem::create_symlink(folder / "other", link);
    EXPECT_EQ(run(fifo.c_str()),
              "System-22: open(\"" + fifo + "\", O_RDONLY): Invalid argument (22)");
    EXPECT_EQ(run(link.c_str()).substr(0, 9), "System-40");
  });
}

}  // namespace
