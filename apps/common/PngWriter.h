#pragma once

#include <cstdint>
#include <cstdio>

#include "apps/common/PackedPage.h"
#include "base/plat/Exception.h"
#include "base/plat/NonCopyable.h"

struct png_struct_def;
struct png_info_def;

namespace png {

// Of zlib. Text is small and quick at any level, and photographs gain little by a higher one.
constexpr int compressionLevel = 3;

class PngError : public plat::Exception {
 public:
  explicit PngError(const char* text) : Exception(text, "PngError") {}
};

// Writes one picture row by row; memory is a few rows. Throws PngError for a picture that PNG
// cannot hold, such as an empty one, and plat::SystemException "writing the PNG file".
class PngWriter : private plat::NonCopyable {
 public:
  struct Size {
    uint32_t width, height;          // pixels
    uint32_t widthMm10, heightMm10;  // tenths of a millimetre; 0: unknown
  };

  // The file is borrowed and outlives this. Without known physical sizes there is no
  // pHYs chunk.
  PngWriter(FILE* out, const Size& size, const PictureForm& form);
  ~PngWriter();

  // The next row, in that form.
  void writeRow(const uint8_t* samples);
  // Once, behind the last row. Flushes the file.
  void finish();

 private:
  template <class Action>
  void attempt(Action action);
  void writeStart(const Size& size, const PictureForm& form);

  png_struct_def* png;
  png_info_def* info;
  FILE* file;
  int writeError = 0;  // errno value
  char problem[128] = "";

  friend struct Callbacks;
};

}  // namespace png
