#include "base/rfb/PixelFormat.h"

#include <bit>
#include <cstring>

#include "base/rdr/MemInStream.h"
#include "base/rdr/MemOutStream.h"
#include "base/rfb/FullFramePixelBuffer.h"
#include "base/rfb/TransPixelBuffer.h"
#include "fuzz/fuzz.h"
#include "tests/support/streams.h"

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

// Names that are right or nearly so.
static void checkMadeName(fuzz::Input& input) {
  const char* const prefixes[] = {"rgb", "bgr", "rGB", "Bgr", "pal", "pAL", "rbg", ""};
  const int kind = input.number(0, 7);
  std::string digits = std::to_string(input.number(0, 1300));
  if (kind > 3 && input.flag()) digits.erase(1);
  const std::string name = prefixes[kind] + digits + (input.number(0, 15) ? "" : ":");
  PixelFormat format = PixelFormat::rgb888();
  format.bigEndian = true;
  const bool isName = format.parse(name.c_str());
  if (kind > 3) {
    PLAT_ASSERT(isName == (kind < 6 && name.size() == 4 && name[3] > '0' && name[3] < '9'));
    PLAT_ASSERT(!isName || printed(format) == "depth " + digits + " (8 bpp) colour-map");
    return;
  }
  PLAT_ASSERT(isName == (name.size() == 6 && name.find_first_of("0:") == std::string::npos));
  if (!isName) return;
  const int depth = digits[0] + digits[1] + digits[2] - 3 * '0';
  const std::string size = depth <= 8    ? "8 bpp)"
                           : depth <= 16 ? "16 bpp) little-endian"
                                         : "32 bpp) little-endian";
  const std::string order = kind % 2 ? " bgr" : " rgb";
  PLAT_ASSERT(printed(format) == "depth " + std::to_string(depth) + " (" + size + order + digits);
}

static PixelFormat readFormat(fuzz::Input& input) {
  std::string bytes = input.bytes(16);
  if (bytes.size() == 16 && input.flag()) {
    if (input.flag()) bytes.replace(14, 2, 2, '\0');
    // As deep as it has bits.
    bytes[1] = 0;
    for (size_t i : {4, 5, 6, 7, 8, 9, 14, 15}) {
      bytes[1] = static_cast<char>(bytes[1] + std::popcount(static_cast<uint8_t>(bytes[i])));
    }
  }
  rdr::MemInStream in(bytes.data(), static_cast<int>(bytes.size()));
  PixelFormat format;
  if (fuzz::isRefused([&] { format.read(in); })) {
    PLAT_ASSERT(format == PixelFormat());
    return format;
  }
  // An alpha channel counts where the depth has it; the stream is big-endian.
  std::string expected = bytes;
  int bits = 0;
  for (size_t i : {4, 5, 6, 7, 8, 9, 14, 15}) bits += std::popcount(static_cast<uint8_t>(bytes[i]));
  for (size_t i : {2, 3}) expected[i] = bytes[i] != 0;
  const bool hasAlpha = bits == format.depth && (bytes[14] || bytes[15]);
  if (!hasAlpha) expected.replace(13, 3, 3, '\0');
  rdr::MemOutStream out;
  format.write(out);
  PLAT_ASSERT(fakes::bytesOf(out) == expected);
  const auto byteAt = [&](size_t i) { return static_cast<uint8_t>(bytes[i]); };
  PLAT_ASSERT(format.bpp == byteAt(0) && format.depth == byteAt(1));
  PLAT_ASSERT(format.redMax == byteAt(4) * 256 + byteAt(5) && format.blueShift == byteAt(12));
  PLAT_ASSERT(!printed(format).empty());
  return format;
}

// The channels in the order "rgba".
struct Channel {
  int bits;
  uint8_t shift;

  uint32_t max() const { return (1u << bits) - 1; }
  uint32_t valueIn(uint32_t pixel) const { return bits ? pixel >> shift & max() : 0; }
};

// A maximum is odd or 0, so that there are no ties.
static uint64_t nearest(uint64_t value, uint64_t max, uint64_t newMax) {
  return max ? (2 * value * newMax + max) / (2 * max) : 0;
}

// A format that is valid or nearly so, held to its fields.
static PixelFormat checkedFormat(fuzz::Input& input) {
  const bool wholeBytes = input.flag();
  const int bpp = wholeBytes ? 8 << input.number(0, 2) : 4 * input.number(1, 9);
  const int depth = input.number(0, 34);
  const bool trueColour = input.number(0, 3) > 0;
  bool isValid =
      bpp % 8 == 0 && bpp <= 32 && depth > 0 && depth <= bpp && (trueColour || depth <= 8);
  Channel channels[4];
  bool isBytes = true;
  for (Channel& channel : channels) {
    channel = {input.number(0, 11), input.number<uint8_t>(0, 33)};
    if (wholeBytes) channel = {channel.bits % 9, static_cast<uint8_t>(channel.shift / 8 * 8 % bpp)};
    isValid &= !trueColour || channel.shift + channel.bits <= bpp;
    isBytes &= channel.bits <= 8 && channel.shift % 8 == 0;
  }
  const auto& [r, g, b, a] = channels;
  const PixelFormat format(bpp, depth, false, trueColour, r.max(), g.max(), b.max(), r.shift,
                           g.shift, b.shift, a.shift, a.max());
  PLAT_ASSERT(format.isValid() == isValid);
  if (!isValid || !trueColour) return format;

  const uint32_t pixel = input.anyNumber<uint32_t>();
  rfb::Colour colour, same;
  format.rgbFromPixel(pixel, &colour, nullptr);
  const int components[] = {colour.red, colour.green, colour.blue};
  const int wanted[] = {input.number(0, 255), input.number(0, 255), input.number(0, 255)};
  uint64_t made = 0;
  for (int i = 0; i < 3; i++) {
    const uint32_t max = channels[i].max();
    PLAT_ASSERT(components[i] == static_cast<int>(nearest(channels[i].valueIn(pixel), max, 255)));
    made |= nearest(static_cast<uint64_t>(wanted[i]), 255, max) << channels[i].shift;
  }
  PLAT_ASSERT(format.pixelFromRGB({wanted[0], wanted[1], wanted[2]}, nullptr) == made);

  // Of the same bytes in the other order, which is not read as such at 24 bpp.
  PixelFormat swapped = format;
  swapped.bigEndian = true;
  PixelFormat native = swapped;
  PLAT_ASSERT(native.makeNativeEndian() == (bpp == 8 || isBytes));
  PLAT_ASSERT(native.isValid() && (native == swapped || native.isNativeEndian()));
  for (const PixelFormat& other : {swapped, native}) {
    if (bpp == 24) continue;
    other.rgbFromPixel(swapped.storedPixel(pixel), &same, nullptr);
    PLAT_ASSERT(same == colour);
  }
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
  switch (input.number(0, 3)) {
    case 0:
      checkMadeName(input);
      break;
    case 1: {
      const PixelFormat from = checkedFormat(input), to = checkedFormat(input);
      if (from.isValid() && to.isValid()) translate(from, to, input.flag());
      break;
    }
    default: {
      const PixelFormat from = readFormat(input), to = readFormat(input);
      const bool perChannel16 = input.flag();
      checkName(input.rest().c_str());
      if (from.isValid() && to.isValid()) translate(from, to, perChannel16);
    }
  }
  return 0;
}
