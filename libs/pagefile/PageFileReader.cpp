#include "libs/pagefile/PageFileReader.h"

#include <algorithm>
#include <cinttypes>
#include <new>

#include "base/rdr/Exceptions.h"
#include "libs/pagefile/PageFileError.h"

namespace pagefile {

PageFileReader::PageFileReader(rdr::InStream& source)
    : file(source), message(source), inflater(message), tiles(inflater) {
  try {
    readHeader();
  } catch (const rdr::EndOfStream&) {
    throw PageFileError(message.endOffset(), "the file ends within its header");
  }
}

uint32_t PageFileReader::readHeaderWord(const char* name, uint32_t minimum, uint32_t maximum) {
  const uint64_t at = message.offset();
  const uint32_t value = file.readU32();
  if (value < minimum || value > maximum) {
    throw PageFileError(at, "%s is %" PRIu32, name, value);
  }
  return value;
}

void PageFileReader::readHeader() {
  head.width = readHeaderWord("width", 0, maxPageSize);
  head.height = readHeaderWord("height", 0, maxPageSize);
  head.widthMm10 = readHeaderWord("widthMm10", 0, UINT32_MAX);
  head.heightMm10 = readHeaderWord("heightMm10", 0, UINT32_MAX);
  head.paperCode = readHeaderWord("paperCode", 0, UINT32_MAX);
  readHeaderWord("the constant 1", headerEnd, headerEnd);
  if (bandPixels() > maxBandBytes / sizeof(uint32_t)) {
    throw PageFileError(0, "a page of %" PRIu32 " x %" PRIu32 " pixels is too wide", head.width,
                        head.height);
  }
}

const Band* PageFileReader::nextBand() {
  if (finished) return nullptr;
  try {
    if (!started) startMessage();
    if (band.top + band.rows < head.height && head.width > 0) {
      readBand();
      return &band;
    }
    finish();
    return nullptr;
  } catch (const rdr::EndOfStream&) {
    throw PageFileError(message.endOffset(), "the file ends within its message");
  }
}

void PageFileReader::startMessage() {
  message.startMsg(true);
  try {
    expectWord("encoding", rectangleMark | zrleEncoding);
    expectWord("left", 0);
    expectWord("top", 0);
    expectWord("width", static_cast<uint16_t>(head.width));
    expectWord("height", static_cast<uint16_t>(head.height));
  } catch (const rdr::EndOfMsg&) {
    throw PageFileError(message.offset(), "the message ends within the rectangle header");
  }
  allocateBand();
  started = true;
}

// Its two bytes may lie in two frames.
void PageFileReader::expectWord(const char* name, uint16_t wanted) {
  const int high = message.readU8();
  const uint64_t at = message.lastOffset();
  const int value = high << 8 | message.readU8();
  if (value != wanted) {
    throw PageFileError(at, "the rectangle's %s is %#x instead of %#x", name, value, wanted);
  }
}

// Not initialised: what a header asks for becomes real memory as tiles arrive.
void PageFileReader::allocateBand() {
  if (bandPixels() == 0) return;
  pixels.reset(new (std::nothrow) uint32_t[bandPixels()]);
  if (!pixels) {
    throw PageFileError(0, "no memory for a page of %" PRIu32 " pixels width", head.width);
  }
  band.pixels = pixels.get();
}

void PageFileReader::readBand() {
  const uint32_t top = band.top + band.rows;
  const uint32_t rows = std::min<uint32_t>(head.height - top, tileSize);
  TilePlace place{0, top, 0, static_cast<int>(rows)};
  for (; place.x < head.width; place.x += tileSize) {
    place.width = static_cast<int>(std::min<uint32_t>(head.width - place.x, tileSize));
    try {
      ++counted.subencodings[tiles.read(place)];
    } catch (const rdr::EndOfMsg&) {
      throw PageFileError(message.offset(),
                          "the message ends within the tile at %" PRIu32 ",%" PRIu32, place.x,
                          place.y);
    }
    for (uint32_t y = 0; y < rows; y++) {
      std::copy_n(tiles.pixels() + y * static_cast<uint32_t>(place.width), place.width,
                  pixels.get() + static_cast<size_t>(y) * head.width + place.x);
    }
  }
  band.top = top;
  band.rows = rows;
}

void PageFileReader::finish() {
  if (head.width > 0 && head.height > 0) {
    inflater.finish();
  } else if (message.refill()) {
    throw PageFileError(message.offset(), "data in the message of an empty page");
  }
  message.endMsg();
  const uint64_t end = message.offset();
  try {
    file.readU8();
  } catch (const rdr::EndOfStream&) {
    finished = true;
    return;
  }
  throw PageFileError(end, "data behind the last frame");
}

uint64_t PageFileReader::bandPixels() const {
  return uint64_t{head.width} * std::min<uint32_t>(head.height, tileSize);
}

const PageCounts& PageFileReader::counts() {
  counted.frames = message.frameCount();
  counted.compressedBytes = inflater.compressedBytes();
  counted.plainBytes = inflater.plainBytes();
  return counted;
}

}  // namespace pagefile
