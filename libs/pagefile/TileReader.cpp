#include "libs/pagefile/TileReader.h"

#include <algorithm>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>

#include "libs/pagefile/Inflater.h"
#include "libs/pagefile/PageFileError.h"

namespace pagefile {

namespace {

constexpr int cpixelSize = 3;

enum Subencoding {
  raw = 0,
  solid = 1,
  packedPaletteMax = 16,  // from 2 colours on
  plainRle = 128,
  paletteRleBase = 128,  // plus 2 to 127 colours
  paletteRleMin = 130,
};

uint32_t pixelOf(const uint8_t* cpixel) {
  return static_cast<uint32_t>(cpixel[0] | cpixel[1] << 8 | cpixel[2] << 16);
}

}  // namespace

uint8_t TileReader::read(const TilePlace& place) {
  at = place;
  const int count = at.width * at.height;
  const uint8_t subencoding = in.readByte();
  if (subencoding == raw) {
    readRaw(count);
  } else if (subencoding == solid) {
    std::fill_n(tile, count, readPixel());
  } else if (subencoding <= packedPaletteMax) {
    readPalette(subencoding);
    readPacked();
  } else if (subencoding == plainRle) {
    readPlainRuns(count);
  } else if (subencoding >= paletteRleMin) {
    readPalette(subencoding - paletteRleBase);
    readPaletteRuns(count);
  } else {
    fail("unknown subencoding %d", subencoding);
  }
  return subencoding;
}

uint32_t TileReader::readPixel() {
  uint8_t cpixel[cpixelSize];
  in.read(cpixel, sizeof cpixel);
  return pixelOf(cpixel);
}

void TileReader::readPalette(int count) {
  paletteSize = count;
  for (int i = 0; i < count; i++) palette[i] = readPixel();
}

void TileReader::readRaw(int count) {
  uint8_t bytes[sizeof tile / sizeof *tile * cpixelSize];
  in.read(bytes, count * cpixelSize);
  for (int i = 0; i < count; i++) tile[i] = pixelOf(bytes + i * cpixelSize);
}

// Every row begins with a new byte; the leftmost pixel has the highest bits.
void TileReader::readPacked() {
  const int bits = paletteSize == 2 ? 1 : paletteSize <= 4 ? 2 : 4;
  const int mask = (1 << bits) - 1;
  const int rowBytes = (at.width * bits + 7) / 8;
  // Then only the end of a row can be bad, so that the place of a fault is known all the same.
  const bool hasEveryColour = paletteSize == mask + 1;
  uint8_t row[tileSize / 2];
  uint32_t* pixel = tile;
  for (int y = 0; y < at.height; y++) {
    if (hasEveryColour) in.read(row, rowBytes);
    const uint8_t* next = row;
    int byte = 0;
    int bitsLeft = 0;
    for (int x = 0; x < at.width; x++) {
      if (bitsLeft == 0) {
        byte = hasEveryColour ? *next++ : in.readByte();
        bitsLeft = 8;
      }
      bitsLeft -= bits;
      const int index = byte >> bitsLeft & mask;
      if (index >= paletteSize) fail("colour %d of a palette of %d", index, paletteSize);
      *pixel++ = palette[index];
    }
    if (byte & ((1 << bitsLeft) - 1)) fail("bits outside the tile are set");
  }
}

void TileReader::readPlainRuns(int count) {
  for (int done = 0; done < count;) {
    const uint32_t colour = readPixel();
    const int length = readRunLength(count - done);
    std::fill_n(tile + done, length, colour);
    done += length;
  }
}

void TileReader::readPaletteRuns(int count) {
  for (int done = 0; done < count;) {
    const uint8_t byte = in.readByte();
    const int index = byte & 0x7f;
    if (index >= paletteSize) fail("colour %d of a palette of %d", index, paletteSize);
    const int length = byte & 0x80 ? readRunLength(count - done) : 1;
    std::fill_n(tile + done, length, palette[index]);
    done += length;
  }
}

int TileReader::readRunLength(int remaining) {
  int length = 1;
  uint8_t byte;
  do {
    byte = in.readByte();
    length += byte;
    if (length > remaining) {
      fail("a run of %d pixels or more where %d are left", length, remaining);
    }
  } while (byte == 255);
  return length;
}

void TileReader::fail(const char* format, ...) {
  char reason[100];
  va_list args;
  va_start(args, format);
  vsnprintf(reason, sizeof reason, format, args);
  va_end(args);
  throw PageFileError(in.offset(),
                      "%s (tile at %" PRIu32 ",%" PRIu32 ", inflated byte %" PRIu64 ")", reason,
                      at.x, at.y, in.plainBytes() - 1);
}

}  // namespace pagefile
