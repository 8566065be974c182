#include "apps/qolt-pagefile/pageReport.h"

#include <cinttypes>
#include <cstdio>
#include <string>

namespace pagefile {

namespace {

struct Paper {
  uint32_t code;
  const char* name;
};

// Those that the backend writes.
constexpr Paper papers[] = {
    {1, "Letter"},       {2, "Letter Small"}, {3, "Tabloid"},      {4, "Ledger"},
    {5, "Legal"},        {8, "A3"},           {9, "A4"},           {10, "A4 Small"},
    {11, "A5"},          {12, "B4 (JIS)"},    {13, "B5 (JIS)"},    {27, "Envelope DL"},
    {28, "Envelope C5"}, {30, "Envelope C4"}, {31, "Envelope C6"}, {42, "B4 (ISO)"},
};

const char* paperName(uint32_t code) {
  for (const Paper& paper : papers) {
    if (paper.code == code) return paper.name;
  }
  return "unknown";
}

std::string subencodingName(int subencoding) {
  if (subencoding == 0) return "raw";
  if (subencoding == 1) return "solid";
  if (subencoding < 128) return "packed, " + std::to_string(subencoding) + " colours";
  if (subencoding == 128) return "runs";
  return "runs, " + std::to_string(subencoding - 128) + " colours";
}

void printNumber(const char* name, uint64_t number) {
  printf("  %-16s %10" PRIu64 "\n", name, number);
}

}  // namespace

void printHeader(const PageHeader& header) {
  printNumber("width", header.width);
  printNumber("height", header.height);
  printNumber("widthMm10", header.widthMm10);
  printNumber("heightMm10", header.heightMm10);
  printf("  %-16s %10" PRIu32 " (%s)\n", "paperCode", header.paperCode,
         paperName(header.paperCode));
}

void printCounts(const PageCounts& counts) {
  printNumber("frames", counts.frames);
  printNumber("compressed bytes", counts.compressedBytes);
  printNumber("inflated bytes", counts.plainBytes);
  for (int i = 0; i < 256; i++) {
    if (counts.subencodings[i] == 0) continue;
    printf("  subencoding %-4d %10" PRIu64 " (%s)\n", i, counts.subencodings[i],
           subencodingName(i).c_str());
  }
}

}  // namespace pagefile
