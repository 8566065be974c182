#pragma once

#include <cstdio>

namespace pagefile {
class PageFileReader;
}

namespace png {

// The page that the reader is about to read, as one picture at its physical size. Throws
// what PageFileReader and PngWriter throw; `out` then holds the beginning of a picture. An
// empty page is a PngError, but only when its file is right.
void writePng(pagefile::PageFileReader& page, FILE* out);

// The same for a page file, from where it stands. Every failure is a plat::Exception whose
// message begins with the last component of the name, as in "page-0.zrle: byte 20: ...".
// Both files are borrowed.
void writePng(FILE* pageFile, const char* name, FILE* out);

}  // namespace png
