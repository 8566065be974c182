// CUPS raster documents on their way into page files, and back from there.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <vector>

#include "apps/common/jobNames.h"
#include "apps/cups-qolt/CupsPixelBuffer.h"
#include "apps/cups-qolt/RasterStreams.h"
#include "apps/cups-qolt/zrle-generator.h"
#include "base/plat/unix/OwnedFd.h"
#include "base/rdr/FileInStream.h"
#include "fuzz/fuzz.h"
#include "libs/pagefile/PageFileReader.h"
#include "tests/support/descriptors.h"

namespace {

constexpr char prefix[] = "page";

// The page files of a document on standard input, in the working folder, until the end of the run.
struct PageFiles {
  explicit PageFiles(int document) {
    PLAT_ASSERT(dup2(document, STDIN_FILENO) == STDIN_FILENO);
    isRefused = fuzz::isRefused([&] { generateZrlePages(nullptr, prefix, whole); });
  }
  ~PageFiles() {
    for (size_t i = 0; i <= whole.size(); i++) {
      unlink(job::pagePath(prefix, static_cast<int>(i)).get());
    }
  }
  std::vector<plat::String> whole;
  bool isRefused;
};

// A pipe that holds the bytes, without a writer.
plat::OwnedFd filledPipe(const std::string& bytes) {
  int ends[2];
  PLAT_ASSERT(pipe2(ends, O_CLOEXEC) == 0);
  const plat::OwnedFd in(ends[1]);
  PLAT_ASSERT(write(in.get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
  return plat::OwnedFd(ends[0]);
}

void checkPage(cupsraster::CupsPixelBuffer& page, const char* path) {
  rdr::FileInStream source(path, 0);
  pagefile::PageFileReader file(source);
  const auto width = static_cast<size_t>(page.width());
  PLAT_ASSERT(file.header().width == width);
  PLAT_ASSERT(file.header().height == static_cast<uint32_t>(page.height()));
  while (const pagefile::Band* band = file.nextBand()) {
    const auto top = static_cast<int>(band->top), rows = static_cast<int>(band->rows);
    std::vector<uint8_t> pixels(3 * width * band->rows);
    page.getImage(pixels.data(), rfb::Rect(0, top, page.width(), top + rows), 0);
    for (size_t i = 0; i < width * band->rows; i++) {
      const uint8_t* rgb = &pixels[3 * i];
      PLAT_ASSERT(band->pixels[i] == static_cast<uint32_t>(rgb[0] << 16 | rgb[1] << 8 | rgb[2]));
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // By its name the product then finds this library.
  static void* const library = dlopen(QOLT_CUPSIMAGE_STAND_IN, RTLD_NOW | RTLD_GLOBAL);
  PLAT_ASSERT(library);
  std::string bytes = fuzz::bytes(data, size);
  // Lines beyond 64 KiB only cost time: the sanitizer marks all the memory that they may take.
  constexpr size_t bytesPerLine = 4 + 392;
  if (bytes.size() >= bytesPerLine + 4) {
    bytes.replace(bytesPerLine + (bytes[0] == 'R' ? 0 : 2), 2, 2, '\0');
  }
  const size_t pages = PageFiles(filledPipe(bytes).get()).whole.size();
  const plat::OwnedFd document(test::memoryFile(bytes));
  const PageFiles files(document.get());
  PLAT_ASSERT(files.whole.size() == pages);

  PLAT_ASSERT(lseek(document.get(), 0, SEEK_SET) == 0);
  const std::string refusal = fuzz::refusal([&] {
    cupsraster::RasterStreams streams(document.get(), "document");
    cupsraster::CupsPixelBuffer page(&streams, pagefile::tileSize);
    for (const plat::String& path : files.whole) {
      PLAT_ASSERT(page.nextPage());
      checkPage(page, path.get());
    }
    if (!page.nextPage()) return;
    PLAT_ASSERT(files.isRefused);
    for (int top = 0; top < page.height(); top += pagefile::tileSize) {
      page.getPixelsR(page.getRect().intersect({0, top, page.width(), top + pagefile::tileSize}),
                      nullptr);
    }
  });
  PLAT_ASSERT(refusal.empty() == !files.isRefused);
  return 0;
}
