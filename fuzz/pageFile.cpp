#include "base/rdr/MemInStream.h"
#include "fuzz/fuzz.h"
#include "libs/pagefile/PageFileError.h"
#include "libs/pagefile/PageFileReader.h"
#include "tests/support/streams.h"

// Sums of the bands; nothing for a bad file: how far it can be read, and which of several
// faults is seen, depends on what the source has at hand.
static std::string read(rdr::InStream& source, uint64_t size) {
  std::string sums;
  const bool refused = fuzz::isRefused([&] {
    try {
      pagefile::PageFileReader file(source);
      const pagefile::PageHeader& head = file.header();
      uint32_t rows = 0;
      while (const pagefile::Band* band = file.nextBand()) {
        PLAT_ASSERT(band->top == rows && band->rows > 0);
        rows += band->rows;
        uint32_t sum = 0;
        for (uint64_t i = 0; i < uint64_t{head.width} * band->rows; i++) {
          PLAT_ASSERT(band->pixels[i] <= 0xffffff);
          sum = sum * 31 + band->pixels[i];
        }
        sums += std::to_string(sum) + " ";
      }
      PLAT_ASSERT(rows == head.height || head.width == 0);
      sums += std::to_string(file.counts().plainBytes);
    } catch (const pagefile::PageFileError& e) {
      PLAT_ASSERT(e.offset <= size);
      throw;
    }
  });
  return refused ? "" : sums;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const int window = input.number(1, 100);
  const std::string bytes = input.rest();
  rdr::MemInStream whole(bytes.data(), static_cast<int>(bytes.size()));
  fakes::ChunkedIn pieces(bytes, window, 128);
  PLAT_ASSERT(read(whole, bytes.size()) == read(pieces, bytes.size()));
  return 0;
}
