#pragma once

namespace job {

enum class DocumentKind {
  pages,       // CUPS's raster, made into a page file a page
  pdf,         // as CUPS hands it over
  postScript,  // likewise
};

struct Format {
  const char* name;  // in the device URI and in the description file; case counts
  DocumentKind kind;
  const char* suffix;  // of a file that holds a document of it
};

// Null when there is no such format.
const Format* findFormat(const char* name);

}  // namespace job
