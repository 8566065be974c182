#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/sendfile.h>
#include <sys/stat.h>

#include <csignal>
#include <fstream>
#include <random>
#include <sstream>
#include <thread>
#include <utility>

#include "base/plat/Exception.h"
#include "base/rdr/FileInStream.h"
#include "libs/pagefile/PageFileReader.h"
#include "tests/support/cupsimage/LibraryFolder.h"
#include "tests/support/cupsimage/library.h"
#include "tests/support/descriptors.h"
#include "tests/support/eventually.h"
#include "tests/support/rasterReader.h"
#include "tests/system/SchedulerTest.h"

namespace fs = std::filesystem;
using test::Command;
using test::CupsImage;
using test::LibraryFolder;
using test::Process;
using test::RasterPage;
using test::Result;

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

// A job whose document the test writes to the pipe `in`.
struct PipedJob {
  explicit PipedJob(Command command)
      : made(pipe2(ends, O_CLOEXEC) == 0),
        process(command.before([this] { return made && dup2(ends[0], STDIN_FILENO) == 0; })),
        in(ends[1]) {
    close(ends[0]);
  }
  ~PipedJob() { endInput(); }
  void endInput() {
    if (in >= 0) close(std::exchange(in, -1));
  }

  int ends[2];
  bool made;
  Process process;
  int in;
};

}  // namespace

// Documents of our own making, without a scheduler.
class RasterJob : public SystemTest, public testing::WithParamInterface<CupsImage> {
 protected:
  void SetUp() override {
    SystemTest::SetUp();
    if (GetParam() == CupsImage::standIn) {
      library.put(test::readFile(test::fileOf(CupsImage::standIn)));
    } else if (!test::hasRealLibrary()) {
      GTEST_SKIP() << "libcupsimage.so.2 is not installed";
    }
  }

  Command raster(const std::string& file = "") const {
    Command command = backend("ZRLE", file);
    return library.use(command);
  }

  void expectSuccess(const Result& result, int pages) const {
    EXPECT_EQ(result.status, 0) << result.err;
    std::vector<std::string> files = pagePaths(job, pages);
    EXPECT_EQ(test::readFile(jobPath(".ini")), description("ZRLE", files));
    files.push_back(jobPath(".ini"));
    std::sort(files.begin(), files.end());
    EXPECT_EQ(jobFiles(), files);
  }
  void expectFailure(const Result& result, const std::string& message, int pages) const {
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.err.ends_with("\nqolt: " + message + "\n")) << result.err;
    EXPECT_EQ(jobFiles(), pagePaths(job, pages));
  }
  void expectPages(const std::string& document, int count) const {
    std::istringstream source(document);
    test::RasterReader reader(source);
    for (int i = 0; i < count; i++) {
      SCOPED_TRACE(i);
      expectPage(reader, pagePaths(job, count)[i], 9);
    }
  }

  LibraryFolder library;
};

INSTANTIATE_TEST_SUITE_P(With, RasterJob, testing::Values(CupsImage::standIn, CupsImage::real),
                         testing::PrintToStringParamName());

TEST_P(RasterJob, namedDocumentIsReadFromACopyThatVanishes) {
  const std::string document =
      test::rasterStream("RaS3", {test::randomPage(200, 130), test::randomPage(64, 64, 6)});
  test::ScratchFolder scratch;
  const std::string file = scratch / "document";
  test::writeFile(file, document);
  ASSERT_EQ(chmod(file.c_str(), 0600), 0);  // the account cannot read it
  {
    test::BusyServer server(account, endpoint);
    Process waiting(raster(file));
    ASSERT_TRUE(waiting.waitFor("qolt: connecting"));
    EXPECT_TRUE(test::readFile(jobPath(".in")) == document);
    EXPECT_EQ(jobFiles().size(), 4u);
    waiting.signal(SIGTERM);
    EXPECT_EQ(waiting.wait().status, 1);
    EXPECT_TRUE(jobFiles().empty());
  }
  test::FakeServer server(account, endpoint);
  expectSuccess(raster(file).run(), 2);
  EXPECT_EQ(server.receive(), message());
  expectPages(document, 2);
  for (const std::string& path : jobFiles()) {
    struct stat status;
    ASSERT_EQ(lstat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFREG | 0600));
    EXPECT_EQ(status.st_uid, account.uid);
    EXPECT_EQ(status.st_gid, account.gid);
  }
}

TEST_P(RasterJob, streamsThatComeByteByByteGiveEveryPage) {
  const std::string document = test::rasterStream("RaSt", {test::randomPage(5, 3)}) +
                               test::rasterStream("tSaR", {test::randomPage(3, 2, 3)}) +
                               test::rasterStream("RaSt", {}) +
                               test::rasterStream("RaSt", {test::randomPage(1, 1)});
  test::FakeServer server(account, endpoint);
  PipedJob piped(raster());
  ASSERT_TRUE(piped.process.waitFor("dropped privs"));
  for (char byte : document) {
    ASSERT_EQ(write(piped.in, &byte, 1), 1);
    // Those of a sync word stay in the pipe until it is whole.
    for (int unread = 1, patience = 20; unread > 0 && patience > 0; --patience) {
      usleep(50);
      ioctl(piped.in, FIONREAD, &unread);
    }
  }
  piped.endInput();
  expectSuccess(piped.process.wait(), 3);
  EXPECT_EQ(server.receive(), message());
  expectPages(document, 3);
}

TEST_P(RasterJob, documentEndsBeforeAPageOfAnotherFormat) {
  test::FakeServer server(account, endpoint);
  const RasterPage good = test::randomPage(30, 70);
  RasterPage deep, grey, black;
  deep.bitsPerColor = 16;
  deep.bitsPerPixel = 48;
  deep.bytesPerLine = 6;
  deep.lines = "sixsix";
  grey.bitsPerPixel = 8;
  grey.bytesPerLine = 1;
  grey.colorSpace = 0;
  grey.lines = "1";
  black = grey;
  black.colorSpace = 3;
  auto refused = [](std::string color, std::string pixel, std::string space) {
    return "Page has unsupported pixel-format:\ncupsBitsPerColor: " + color +
           "\ncupsBitsPerPixel: " + pixel + "\ncupsColorSpace: " + space + "\n";
  };
  const struct {
    std::vector<RasterPage> pages;
    int count;
    std::string message;
  } cases[] = {
      {{}, 0, ""},
      {{deep, good}, 0, refused("16", "48", "1")},
      {{good, grey, good}, 1, refused("8", "8", "0")},
      {{good, good, black}, 2, refused("8", "8", "3")},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    std::string document = test::rasterStream("3SaR", c.pages);
    // Not reached behind a page that ends the document.
    std::string following = c.pages.empty() ? "" : test::rasterStream("3SaR", {good});
    Result result = raster().input(document + following).run();
    expectSuccess(result, c.count);
    EXPECT_NE(result.err.find(c.message + description("ZRLE", pagePaths(job, c.count))),
              std::string::npos)
        << result.err;
    EXPECT_EQ(server.receive(), message());
    expectPages(document, c.count);
    for (const std::string& path : jobFiles()) fs::remove(path);
  }
}

TEST_P(RasterJob, damageFailsTheJobAndKeepsThePageFilesSoFar) {
  const RasterPage whole = test::randomPage(30, 200);
  auto header = [](uint32_t width, uint32_t height, uint32_t bytesPerLine) {
    RasterPage page;
    page.width = width;
    page.height = height;
    page.bytesPerLine = bytesPerLine;
    return page;
  };
  RasterPage cut = whole, cutShort = header(30, 536870911, 90);
  cut.lines.pop_back();
  const std::string cutOff = "Unexpected end of CUPS page data", size = "Invalid CUPS page size: ";
  const struct {
    RasterPage page;
    std::string message;
    int files;
  } cases[] = {
      {cut, cutOff, 2},
      {cutShort, cutOff, 2},
      {header(100000, 10, 3), size + "100000 x 10, 3 bytes per line", 1},
      {header(11, 10, 30), size + "11 x 10, 30 bytes per line", 1},
      {header(1, 1, 2147483646), size + "1 x 1, 2147483646 bytes per line", 1},
      {header(1, 536870912, 3), size + "1 x 536870912, 3 bytes per line", 1},
      {header(536870912, 1, 1610612736), size + "536870912 x 1, 1610612736 bytes per line", 1},
      {header(5592406, 1, 16777218), size + "5592406 x 1, 16777218 bytes per line", 1},
      {header(1431655766, 1, 3), size + "1431655766 x 1, 3 bytes per line", 1},
      {header(2147483648, 2147483648, 3), size + "2147483648 x 2147483648, 3 bytes per line", 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    std::string document = test::rasterStream("RaS3", {whole, c.page});
    expectFailure(raster().input(document).run(), c.message, c.files);
    expectPages(document, 1);
    for (const std::string& path : jobFiles()) fs::remove(path);
  }
  expectFailure(raster().input("no raster").run(), "cupsRasterOpen('[stdin]') failed", 0);
}

TEST_P(RasterJob, emptyPagesAndUnknownResolutionsAreWrittenAsSuch) {
  test::FakeServer server(account, endpoint);
  RasterPage noWidth = test::randomPage(0, 5, 3), noHeight = test::randomPage(0x10005, 0);
  RasterPage noResolution = test::randomPage(7, 9);
  noResolution.resolution[0] = noResolution.resolution[1] = 0;
  const std::string document = test::rasterStream("RaS3", {noWidth, noResolution, noHeight});
  // The real library takes a page without lines for the end of the document.
  int count = GetParam() == CupsImage::real ? 2 : 3;
  expectSuccess(raster().input(document).run(), count);
  expectPages(document, count);
  // One frame of ten bytes.
  EXPECT_EQ(test::readFile(pagePaths(job, 1)[0]).substr(24),
            std::string("\x80\x0a\x80\x10\0\0\0\0\0\0\0\5", 12));
  if (count == 3) {
    EXPECT_EQ(test::readFile(pagePaths(job, 3)[2]).substr(24),
              std::string("\x80\x0a\x80\x10\0\0\0\0\0\5\0\0", 12));
  }
}

// The last bytes of a page file wait in stdio's buffer until it is closed.
TEST_P(RasterJob, pageFileThatDoesNotFitIsNotAnnounced) {
  test::FakeServer server(account, endpoint);
  const std::string document = test::rasterStream("RaS3", {test::randomPage(100, 100)});
  expectSuccess(raster().input(document).run(), 1);
  const rlim_t needed = fs::file_size(pagePaths(job, 1)[0]);
  for (rlim_t limit : {needed - 1, rlim_t{4096}, rlim_t{10}}) {
    SCOPED_TRACE(limit);
    for (const std::string& path : jobFiles()) fs::remove(path);
    Command command = raster().before([limit] {
      rlimit most = {limit, limit};
      return ::signal(SIGXFSZ, SIG_IGN) != SIG_ERR && setrlimit(RLIMIT_FSIZE, &most) == 0;
    });
    Result result = command.input(document).run();
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("(27)\n"), std::string::npos) << result.err;
    EXPECT_EQ(jobFiles(), pagePaths(job, 1));
  }
}

TEST_P(RasterJob, cancelledConversionKeepsThePageFilesSoFar) {
  test::FakeServer server(account, endpoint);
  const std::string document =
      test::rasterStream("RaS3", {test::randomPage(50, 90), test::randomPage(50, 90)});
  PipedJob piped(raster());
  // Less than a pipe holds.
  ASSERT_EQ(write(piped.in, document.data(), document.size() - 1),
            static_cast<ssize_t>(document.size() - 1));
  ASSERT_TRUE(test::eventually([&] { return fs::exists(pagePaths(job, 2)[1]); }));
  piped.process.signal(SIGTERM);
  Result result = piped.process.wait();
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err.find("connecting"), std::string::npos) << result.err;
  EXPECT_EQ(jobFiles(), pagePaths(job, 2));
  expectPages(document, 1);
}

// It used to end the process, and the copy of the document stayed.
TEST_P(RasterJob, pageThatMemoryDoesNotHoldFailsTheJob) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "a sanitizer takes memory of its own";
#endif
  // 64 lines of it are 768 MiB.
  RasterPage page;
  page.width = 4 << 20;
  page.height = 64;
  page.bytesPerLine = page.width * 3;
  test::ScratchFolder scratch;
  test::writeFile(scratch / "document", test::rasterStream("RaS3", {page}));
  Command command = raster(scratch / "document").before([] {
    rlimit most = {512 << 20, 512 << 20};
    return setrlimit(RLIMIT_AS, &most) == 0;
  });
  Result result = command.run();
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("\nqolt: out of memory\n"), std::string::npos) << result.err;
  EXPECT_EQ(jobFiles(), pagePaths(job, 1));
}

TEST_P(RasterJob, memoryDoesNotGrowWithTheDocument) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer takes memory of its own";
#endif
  const int count = GetParam() == CupsImage::real ? 200 : 20;
  const uint32_t width = 2479, height = 3508;
  // Lines of ink and of white.
  RasterPage page = test::randomPage(width, height / 100 * 2);
  page.height = height;
  page.lines.resize(size_t{page.bytesPerLine} * height, '\xff');
  const std::string word = "3SaR", document = test::rasterStream(word, {page});
  const int file = test::memoryFile(document);
  test::BusyServer server(account, endpoint);
  PipedJob piped(raster());
  std::thread writer([&] {
    for (int i = 0; i < count; i++) {
      off_t at = i == 0 ? 0 : static_cast<off_t>(word.size());
      while (at < static_cast<off_t>(document.size()) &&
             sendfile(piped.in, file, &at, document.size() - static_cast<size_t>(at)) > 0) {
      }
    }
    piped.endInput();
  });
  for (const std::string& path : pagePaths(job, count)) {
    if (!test::eventually([&] { return fs::exists(path); })) break;
  }
  EXPECT_TRUE(piped.process.waitFor("qolt: connecting"));
  uint64_t peak = piped.process.peakMemory();
  EXPECT_GT(peak, 0u);
  EXPECT_LT(peak, 16u * 1024 * 1024);
  RecordProperty("peakKiB", std::to_string(peak / 1024));
  piped.process.signal(SIGTERM);
  piped.process.wait();
  writer.join();
  close(file);
}

// Found before the real one.
TEST_F(SystemTest, imagingLibraryThatLacksAFunctionFailsARasterJob) {
  test::FakeServer server(account, endpoint);
  LibraryFolder library;
  const struct {
    std::string bytes, function;
    int files;
  } cases[] = {
      {"", "cupsRasterOpen", 0},  // is no library
      {test::readFile(test::fileOf(CupsImage::withoutReadPixels)), "cupsRasterReadPixels", 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.function);
    library.put(c.bytes);
    Command command = backend("ZRLE");
    library.use(command).input(test::rasterStream("RaS3", {test::randomPage(1, 1)}));
    Result result = command.run();
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.err.ends_with("\nqolt: Function " + c.function +
                                     " not found in cupsimage[2] library\n"))
        << result.err;
    EXPECT_EQ(jobFiles(), pagePaths(job, c.files));
  }
}

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
