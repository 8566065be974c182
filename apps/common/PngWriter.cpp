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

PngWriter::PngWriter(FILE* out, const Size& size, const PictureForm& form) : file(out) {
  png = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, Callbacks::error, Callbacks::warning);
  if (!png) throw std::bad_alloc();
  info = png_create_info_struct(png);
  try {
    if (!info) throw std::bad_alloc();
    writeStart(size, form);
  } catch (...) {
    png_destroy_write_struct(&png, &info);
    throw;
  }
}

PngWriter::~PngWriter() {
  png_destroy_write_struct(&png, &info);
}

void PngWriter::writeStart(const Size& size, const PictureForm& form) {
  const uint32_t xPerMetre = pixelsPerMetre(size.width, size.widthMm10);
  const uint32_t yPerMetre = pixelsPerMetre(size.height, size.heightMm10);
  const bool hasPalette = form.kind == PictureForm::Kind::palette;
  png_color palette[256];
  for (size_t i = 0; i < form.palette.size(); i++) {
    palette[i] = {static_cast<png_byte>(form.palette[i] >> 16),
                  static_cast<png_byte>(form.palette[i] >> 8),
                  static_cast<png_byte>(form.palette[i])};
  }
  const int type = hasPalette                             ? PNG_COLOR_TYPE_PALETTE
                   : form.kind == PictureForm::Kind::grey ? PNG_COLOR_TYPE_GRAY
                                                          : PNG_COLOR_TYPE_RGB;
  attempt([&] {
    png_set_write_fn(png, this, Callbacks::write, Callbacks::flush);
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_compression_level(png, compressionLevel);
    png_set_IHDR(png, info, size.width, size.height, form.bits, type, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (hasPalette) png_set_PLTE(png, info, palette, static_cast<int>(form.palette.size()));
    // What is filtered is differences of samples, which say something only of shades.
    if (form.kind != PictureForm::Kind::rgb) png_set_filter(png, 0, PNG_FILTER_NONE);
    if (xPerMetre && yPerMetre) {
      png_set_pHYs(png, info, xPerMetre, yPerMetre, PNG_RESOLUTION_METER);
    }
    png_write_info(png, info);
  });
}

void PngWriter::writeRow(const uint8_t* samples) {
  attempt([&] { png_write_row(png, samples); });
}

void PngWriter::finish() {
  attempt([&] { png_write_end(png, info); });
  if (fflush(file) != 0) throw plat::SystemException("writing the PNG file", errno);
}

}  // namespace png
