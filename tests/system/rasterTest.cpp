#include <fstream>
#include <random>

#include "base/plat/Exception.h"
#include "base/rdr/FileInStream.h"
#include "libs/pagefile/PageFileReader.h"
#include "tests/support/cupsimage/library.h"
#include "tests/support/rasterReader.h"
#include "tests/system/SchedulerTest.h"

namespace fs = std::filesystem;
using test::RasterPage;

namespace {

std::vector<std::string> pagePaths(const std::string& job, int count) {
  std::vector<std::string> paths;
  for (int i = 0; i < count; i++) {
    paths.push_back("/tmp/qolt-" + job + "-" + std::to_string(i) + ".zrle");
  }
  return paths;
}

// Tenths of a millimetre, halves upwards.
uint64_t physicalSize(uint64_t pixels, uint64_t dotsPerInch) {
  return dotsPerInch == 0 ? 0 : (508 * pixels + dotsPerInch) / (2 * dotsPerInch);
}

// Compares the page file with the raster's next page; returns how many pixels of it are
// not white.
uint64_t expectPage(test::RasterReader& raster, const std::string& path, uint32_t paperCode) try {
  RasterPage page;
  if (!raster.nextPage(page)) {
    ADD_FAILURE() << "the raster has no such page";
    return 0;
  }
  rdr::FileInStream file(path.c_str(), 0);
  pagefile::PageFileReader reader(file);
  const pagefile::PageHeader& header = reader.header();
  if (header.width != page.width || header.height != page.height || page.bitsPerPixel != 24) {
    ADD_FAILURE() << header.width << " x " << header.height << " pixels, not " << page.width
                  << " x " << page.height << " of " << page.bitsPerPixel << " bits";
    return 0;
  }
  EXPECT_EQ(header.widthMm10, physicalSize(page.width, page.resolution[0]));
  EXPECT_EQ(header.heightMm10, physicalSize(page.height, page.resolution[1]));
  EXPECT_EQ(header.paperCode, paperCode);

  uint64_t ink = 0;
  uint32_t y = 0;
  while (const pagefile::Band* band = reader.nextBand()) {
    const uint32_t* pixel = band->pixels;
    for (uint32_t row = 0; row < band->rows; ++row, ++y) {
      const std::string line = raster.nextLine();
      for (uint32_t x = 0; x < header.width; ++x, ++pixel) {
        auto byte = [&](size_t i) { return static_cast<uint8_t>(line[3 * x + i]); };
        uint32_t wanted = uint32_t{byte(0)} << 16 | uint32_t{byte(1)} << 8 | byte(2);
        if (*pixel != wanted) {
          ADD_FAILURE() << "pixel " << x << ", " << y << ": " << *pixel << ", not " << wanted;
          return ink;
        }
        if (wanted != 0xffffff) ++ink;
      }
    }
  }
  // Lines without pixels are in no band.
  for (; y < page.height; ++y) raster.nextLine();
  return ink;
} catch (const plat::Exception& e) {
  ADD_FAILURE() << path << ": " << e.message;
  return 0;
}

}  // namespace

// What CUPS's own filters make of documents, against what they hand to a backend that
// only stores it.
class RasterQueue : public SchedulerTest {
 protected:
  void SetUp() override {
    SchedulerTest::SetUp();
    if (IsSkipped()) return;
    if (!test::hasRealLibrary()) GTEST_SKIP() << "libcupsimage.so.2 is not installed";
    addQueue("raster", "ZRLE", packaged("qolt-raster.ppd"));
    test::writeFile(files / "text", text(150));
    test::writeFile(files / "line", text(1));
    test::writeFile(files / "photo.pnm", photo(480, 640));
    server = std::make_unique<test::FakeServer>(account, endpoint);
  }
  void TearDown() override {
    server.reset();
    SchedulerTest::TearDown();
  }

  // A gradient with noise.
  static std::string photo(int width, int height) {
    std::string image = "P6\n" + std::to_string(width) + " " + std::to_string(height) + "\n255\n";
    std::minstd_rand random(1);
    for (int y = 0; y < height; y++) {
      for (int x = 0; x < width; x++) {
        for (int base : {x * 200 / width, y * 200 / height, (x + y) * 200 / (width + height)}) {
          image += static_cast<char>(base + static_cast<int>((random() >> 8) % 32));
        }
      }
    }
    return image;
  }

  // Prints the documents and compares every page that arrives. Banners show the job's
  // number and come first.
  void expectPages(const std::vector<std::string>& names, std::vector<std::string> options,
                   int count, uint32_t paperCode, int banners = 0) {
    std::vector<std::string> documents;
    for (const std::string& name : names) documents.push_back(files / name);
    options.insert(options.end(), {"-t", "A title"});
    const std::string id = std::to_string(print("raster", documents, options));
    std::ifstream source(stored("raster", documents, options));
    const std::string descriptionPath = "/tmp/qolt-" + id + ".ini";
    ASSERT_EQ(server->receive(), message(descriptionPath)) << cups->waitForLog(std::stoi(id), "");
    const std::vector<std::string> pages = pagePaths(id, count);
    ASSERT_EQ(test::readFile(descriptionPath), description("ZRLE", pages, "raster"));

    test::RasterReader raster(source);
    RasterPage page;
    for (const std::string& path : pages) {
      SCOPED_TRACE(path);
      if (banners-- > 0) {
        ASSERT_TRUE(raster.nextPage(page));
        for (uint32_t y = 0; y < page.height; ++y) raster.nextLine();
      } else {
        EXPECT_GT(expectPage(raster, path, paperCode), 0u);
      }
    }
    EXPECT_FALSE(raster.nextPage(page));
    for (const std::string& path : jobFiles()) fs::remove(path);
  }

  std::unique_ptr<test::FakeServer> server;
};

TEST_F(RasterQueue, everyPageArrivesAsCupsDeliversIt) {
  constexpr uint32_t a4 = 9, letter = 1;
  const struct {
    std::string document, paper, resolution;
    int pages;
    uint32_t paperCode;
  } cases[] = {
      {"text", "A4", "300dpi", 3, a4},
      {"line", "Letter", "600dpi", 1, letter},
      {"photo.pnm", "Letter", "300dpi", 1, letter},
      {"photo.pnm", "A4", "600dpi", 1, a4},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.document + " " + c.paper + " " + c.resolution);
    expectPages(
        {c.document},
        {"-o", "PageSize=" + c.paper, "-o", "Resolution=" + c.resolution, "-o", "fit-to-page"},
        c.pages, c.paperCode);
  }
}

TEST_F(RasterQueue, everyFileAndCopyOfAJobArrivesOnce) {
  const std::vector<std::string> coarse = {"-o", "Resolution=150dpi"};
  auto with = [&](std::vector<std::string> options) {
    options.insert(options.end(), coarse.begin(), coarse.end());
    return options;
  };
  expectPages({"text", "photo.pnm", "line"}, coarse, 5, 9);
  expectPages({"line"}, with({"-n", "3"}), 3, 9);
  expectPages({"line", "text"}, with({"-n", "2"}), 8, 9);
  expectPages({"line"}, with({"-o", "job-sheets=standard,none"}), 2, 9, 1);
}
