#pragma once

#include "libs/pagefile/PageFileReader.h"

namespace pagefile {

// To standard output, a line each.
void printHeader(const PageHeader& header);
// Subencodings without tiles are left out.
void printCounts(const PageCounts& counts);

}  // namespace pagefile
