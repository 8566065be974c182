#include "base/rfb/PixelFormat.h"

#include <cstring>

#include "base/rdr/MemInStream.h"
#include "base/rdr/MemOutStream.h"
#include "base/rfb/FullFramePixelBuffer.h"
#include "base/rfb/TransPixelBuffer.h"
#include "fuzz/fuzz.h"

using rfb::PixelFormat;

static std::string printed(const PixelFormat& format) {
  char buffer[128] = "";
  format.print(buffer);
  return buffer;
}

static void checkName(const char* name) {
  PixelFormat format;
  if (!format.parse(name)) return;
  PLAT_ASSERT(format.isValid());
  const std::string description = printed(format);
  if (!format.trueColour) return;
  PixelFormat again;
  PLAT_ASSERT(again.parse(description.substr(description.rfind(' ') + 1).c_str()));
  PLAT_ASSERT(again == format);
}

static PixelFormat readFormat(fuzz::Input& input) {
  const std::string bytes = input.bytes(16);
  rdr::MemInStream in(bytes.data(), static_cast<int>(bytes.size()));
  PixelFormat format;
  if (fuzz::isRefused([&] { format.read(in); })) {
    PLAT_ASSERT(format == PixelFormat());
    return format;
  }
  rdr::MemOutStream out;
  format.write(out);
  PLAT_ASSERT(out.length() == 16);
  rdr::MemInStream back(out.data(), out.length());
  PixelFormat again;
  again.read(back);
  PLAT_ASSERT(again == format);
  PLAT_ASSERT(!printed(format).empty());
  return format;
}

// A picture of a format from outside in another one.
static void translate(const PixelFormat& from, const PixelFormat& to, bool perChannel16) {
  uint8_t pixels[4 * 4];
  memset(pixels, 0x5a, sizeof pixels);
  rfb::FullFramePixelBuffer picture(from, rfb::Rect(0, 0, 2, 2), nullptr, pixels, 0);
  rfb::TransPixelBuffer translated(perChannel16);
  fuzz::refusal([&] {
    try {
      translated.setPF(to);
      translated.setSource(&picture);
    } catch (const plat::AssertionFail&) {
      throw plat::Exception("no such translation");  // as its contract says
    }
    uint8_t result[4 * 4];
    translated.getImage(result, picture.getRect(), 0);
  });
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const PixelFormat from = readFormat(input), to = readFormat(input);
  const rfb::Colour colour{input.anyNumber<uint8_t>(), input.anyNumber<uint8_t>(),
                           input.anyNumber<uint8_t>()};
  const bool perChannel16 = input.flag();
  checkName(input.rest().c_str());
  if (!from.isValid() || !to.isValid()) return 0;
  rfb::Colour out;
  from.rgbFromPixel(from.pixelFromRGB(colour, nullptr), &out, nullptr);
  PixelFormat native = from;
  PLAT_ASSERT(native.makeNativeEndian() ? native.isNativeEndian() : native == from);
  translate(from, to, perChannel16);
  return 0;
}
