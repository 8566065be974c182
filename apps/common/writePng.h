#pragma once

#include <cstdio>

#include "apps/common/PackedPage.h"
#include "libs/pagefile/PageFileReader.h"

namespace png {

// A page that was read and is right, as one picture at its physical size. One that was not packed
// is read again from the start of its file. Throws what PageFileReader and PngWriter throw; `out`
// then holds the beginning of a picture. An empty page is a PngError. Both files are borrowed.
void writePng(const pagefile::PageHeader& header, const PackedPage& page, FILE* pageFile,
              FILE* out);

// The same for a page file, from its start. What is wrong with the page is a plat::Exception whose
// message begins with the last component of the name, as in "page-0.zrle: byte 20: ...".
void writePng(FILE* pageFile, const char* name, FILE* out);

}  // namespace png
