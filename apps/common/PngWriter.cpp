#include "apps/common/PngWriter.h"

#include <png.h>

#include <cerrno>
#include <cstring>
#include <new>

#include "base/plat/String.h"

namespace png {

namespace {

// 0: unknown, or nothing that PNG can say.
uint32_t pixelsPerMetre(uint32_t pixels, uint32_t mm10) {
  if (mm10 == 0) return 0;
  const uint64_t perMetre = (uint64_t{pixels} * 10000 + mm10 / 2) / mm10;
  return perMetre <= PNG_UINT_31_MAX ? static_cast<uint32_t>(perMetre) : 0;
}

}  // namespace

struct Callbacks {
  static PngWriter& writerOf(void* pointer) { return *static_cast<PngWriter*>(pointer); }

  static void error(png_structp png, png_const_charp text) {
    PngWriter& writer = writerOf(png_get_error_ptr(png));
    plat::strCopy(writer.problem, text, sizeof writer.problem);
    png_longjmp(png, 1);
  }
  static void warning(png_structp, png_const_charp) {}
  static void write(png_structp png, png_bytep data, size_t length) {
    PngWriter& writer = writerOf(png_get_io_ptr(png));
    if (fwrite(data, 1, length, writer.file) == length) return;
    writer.writeError = errno;
    png_error(png, "write error");
  }
  static void flush(png_structp) {}
};

// libpng leaves its calls with longjmp: nothing in the action may need a destructor.
template <class Action>
void PngWriter::attempt(Action action) {
  if (setjmp(png_jmpbuf(png))) {
    if (writeError) throw plat::SystemException("writing the PNG file", writeError);
    throw PngError(problem);
  }
  action();
}

PngWriter::PngWriter(FILE* out, const Size& size) : file(out) {
  png = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, Callbacks::error, Callbacks::warning);
  if (!png) throw std::bad_alloc();
  info = png_create_info_struct(png);
  try {
    if (!info) throw std::bad_alloc();
    writeStart(size);
  } catch (...) {
    png_destroy_write_struct(&png, &info);
    throw;
  }
}

PngWriter::~PngWriter() {
  png_destroy_write_struct(&png, &info);
}

void PngWriter::writeStart(const Size& size) {
  const uint32_t xPerMetre = pixelsPerMetre(size.width, size.widthMm10);
  const uint32_t yPerMetre = pixelsPerMetre(size.height, size.heightMm10);
  attempt([&] {
    png_set_write_fn(png, this, Callbacks::write, Callbacks::flush);
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_compression_level(png, compressionLevel);
    png_set_IHDR(png, info, size.width, size.height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (xPerMetre && yPerMetre) {
      png_set_pHYs(png, info, xPerMetre, yPerMetre, PNG_RESOLUTION_METER);
    }
    png_write_info(png, info);
    // The bytes of a pixel are blue, green, red and one that is none.
    png_set_bgr(png);
    png_set_filler(png, 0, PNG_FILLER_AFTER);
  });
}

void PngWriter::writeRow(const uint32_t* pixels) {
  attempt([&] { png_write_row(png, reinterpret_cast<png_const_bytep>(pixels)); });
}

void PngWriter::finish() {
  attempt([&] { png_write_end(png, info); });
  if (fflush(file) != 0) throw plat::SystemException("writing the PNG file", errno);
}

}  // namespace png
