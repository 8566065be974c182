// The steps of a raster job by themselves; where the processor has several versions of one,
// each of them. Bytes are those that go in.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "apps/cups-qolt/zrle-generator.h"
#include "base/rdr/MemOutStream.h"
#include "base/rdr/NullOutStream.h"
#include "base/rdr/OutStreamV4.h"
#include "base/rdr/ZlibOutStream.h"
#include "base/rfb/FullFramePixelBuffer.h"
#include "base/rfb/TransPixelBuffer.h"
#include "base/rfb/byteOrderOps.h"
#include "libs/rfbenc/XrleEncodeTile.h"
#include "libs/rfbenc/XrlePack24.h"
#include "libs/rfbenc/runScan.h"

namespace {

constexpr int tileSize = 64;
constexpr int tilePixels = tileSize * tileSize;
constexpr int pageWidth = 2480;  // A4 at 300 dots per inch

// Pixels of 0x00RRGGBB, row after row, and room for one more behind a tile.
using Picture = std::vector<uint32_t>;

class Painter {
 public:
  explicit Painter(int newWidth) : width(newWidth) {}

  Picture solid() const { return Picture(size(), 0xffffff); }

  Picture twoColours() {
    return paint([&](int, int) { return random() % 2 ? 0xffffff : 0x000000; });
  }

  // Strokes of a few pixels with grey edges.
  Picture text() {
    return paint([&](int x, int y) -> uint32_t {
      const int column = x % 11, line = y % 48;
      if (line < 8 || line > 34 || column > 5) return 0xffffff;
      if (column == 0 || column == 5) return 0x404040u * (1 + random() % 3);
      return 0;
    });
  }

  Picture photo() {
    return paint([&](int x, int y) {
      const uint32_t base = static_cast<uint32_t>(x / 4 + y / 2);
      uint32_t pixel = 0;
      for (int channel = 0; channel < 3; ++channel) {
        pixel = pixel << 8 | ((base + 40 * static_cast<uint32_t>(channel) + random() % 6) & 0xff);
      }
      return pixel;
    });
  }

  // Each run has a colour of its own.
  Picture runs() {
    uint32_t colour = 0;
    int left = 0;
    return paint([&](int, int) {
      if (left-- == 0) {
        colour = static_cast<uint32_t>(random() & 0xffffff);
        left = 8 + static_cast<int>(random() % 24);
      }
      return colour;
    });
  }

 private:
  size_t size() const { return static_cast<size_t>(width) * tileSize + 1; }

  template <class PixelAt>
  Picture paint(PixelAt pixelAt) {
    Picture picture;
    for (int y = 0; y < tileSize; ++y) {
      for (int x = 0; x < width; ++x) picture.push_back(pixelAt(x, y));
    }
    picture.push_back(0);
    return picture;
  }

  int width;
  std::mt19937 random{1};
};

struct Kind {
  const char* name;
  Picture (*paint)(Painter& painter);
};
constexpr Kind kinds[] = {
    {"solid", [](Painter& painter) { return painter.solid(); }},
    {"twoColours", [](Painter& painter) { return painter.twoColours(); }},
    {"text", [](Painter& painter) { return painter.text(); }},
    {"photo", [](Painter& painter) { return painter.photo(); }},
    {"runs", [](Painter& painter) { return painter.runs(); }},
};

Picture pictureOf(const Kind& kind, int width) {
  Painter painter(width);
  return kind.paint(painter);
}

uint8_t* bytesOf(Picture& picture) {
  return reinterpret_cast<uint8_t*>(picture.data());
}

void countBytes(benchmark::State& state, size_t bytes) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}

void writeTile(rfb::XrleEncodeTile& tile, Picture& picture, rdr::OutStream* out) {
  tile.analyse(rfb::XrleVariant::leading24, bytesOf(picture), tileSize, tileSize);
  tile.write(out);
}

void codeTile(benchmark::State& state, const Kind& kind) {
  Picture picture = pictureOf(kind, tileSize);
  rfb::XrleEncodeTile tile(tileSize);
  rdr::MemOutStream out(2 * tilePixels * 4);
  for (auto _ : state) {
    out.truncate(0);
    writeTile(tile, picture, &out);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetLabel("subencoding " + std::to_string(out.data()[0]));
  countBytes(state, tilePixels * 4);
}

// A row of tiles as wide as a page from 3-byte pixels to a page file that goes nowhere.
void encodeBand(benchmark::State& state, const Kind& kind) {
  std::vector<uint8_t> rows;
  for (uint32_t pixel : pictureOf(kind, pageWidth)) {
    for (int shift : {16, 8, 0}) rows.push_back(static_cast<uint8_t>(pixel >> shift));
  }
  rfb::PixelFormat format = rfb::PixelFormat::bgr888();
  format.bpp = 24;
  format.bigEndian = false;
  format.makeNativeEndian();
  rfb::FullFramePixelBuffer source(format, {0, 0, pageWidth, tileSize}, nullptr, rows.data(), 0);
  rfb::TransPixelBuffer translated(false);
  translated.setSource(&source);
  translated.setPF(rfb::PixelFormat::nativeRGB888());
  rdr::NullOutStream out;
  for (auto _ : state) encodePage(out, pageWidth, tileSize, translated);
  countBytes(state, rows.size());
}

// The same tile again and again would be all matches; these differ.
std::vector<uint8_t> tileData(const Kind& kind) {
  Painter painter(tileSize);
  rfb::XrleEncodeTile tile(tileSize);
  rdr::MemOutStream out;
  while (out.length() < 1 << 20) {
    Picture picture = kind.paint(painter);
    writeTile(tile, picture, &out);
  }
  return {out.data(), out.data() + out.length()};
}

void deflateTiles(benchmark::State& state, const Kind& kind) {
  const std::vector<uint8_t> data = tileData(kind);
  rdr::NullOutStream out;
  rdr::ZlibOutStream zlib(&out);
  for (auto _ : state) {
    zlib.writeBytes(data.data(), static_cast<int>(data.size()));
    zlib.flush(false);
  }
  countBytes(state, data.size());
}

void frameBytes(benchmark::State& state) {
  const std::vector<uint8_t> data(1 << 20, 0x55);
  rdr::NullOutStream out;
  rdr::OutStreamV4 framed(&out);
  for (auto _ : state) {
    framed.startMsg();
    framed.writeBytes(data.data(), static_cast<int>(data.size()));
    framed.endMsg(true);
  }
  countBytes(state, data.size());
}

// Row by row of `pixels`, as the translation calls it.
void expandRows(benchmark::State& state, rfb::ByteOrderOp convert, int pixels) {
  const std::vector<uint8_t> rows(size_t{pageWidth} * 3 * tileSize, 0x55);
  std::vector<uint8_t> out(static_cast<size_t>(pixels) * 4 * tileSize);
  const size_t length = static_cast<size_t>(pixels);
  for (auto _ : state) {
    for (size_t y = 0; y < tileSize; ++y) {
      convert(rows.data() + y * pageWidth * 3, out.data() + y * length * 4, length);
    }
    benchmark::ClobberMemory();
  }
  countBytes(state, length * 3 * tileSize);
}

void scanRuns(benchmark::State& state, const rfb::RunScanOps* ops, const Kind& kind) {
  Picture picture = pictureOf(kind, tileSize);
  std::vector<uint64_t> ends(tilePixels / 64);
  for (auto _ : state) {
    benchmark::DoNotOptimize(ops->scan32(bytesOf(picture), tilePixels, ends.data()));
  }
  countBytes(state, tilePixels * 4);
}

void packTile(benchmark::State& state, const rfb::XrlePack24Ops* ops) {
  Picture picture = pictureOf(kinds[3], tileSize);
  std::vector<uint8_t> out(tilePixels * 3);
  for (auto _ : state) {
    ops->packLeading(bytesOf(picture), out.data(), tilePixels);
    benchmark::ClobberMemory();
  }
  countBytes(state, tilePixels * 4);
}

void registerAll() {
  using benchmark::RegisterBenchmark;
  const auto name = [](const char* step, const std::string& version) {
    return std::string(step) + "/" + version;
  };
  for (const Kind& kind : kinds) {
    RegisterBenchmark(name("tile", kind.name).c_str(), codeTile, kind);
  }
  for (const Kind& kind : kinds) {
    RegisterBenchmark(name("band", kind.name).c_str(), encodeBand, kind);
  }
  for (const rfb::Expand24To32& version : rfb::usableExpand24To32()) {
    for (int pixels : {tileSize, pageWidth}) {
      RegisterBenchmark(name("expand24To32", version.name + ("/" + std::to_string(pixels))).c_str(),
                        expandRows, version.convert, pixels);
    }
  }
  for (const rfb::RunScanOps* ops : rfb::usableRunScanOps()) {
    for (const Kind& kind : kinds) {
      RegisterBenchmark(name("scan32", ops->name + std::string("/") + kind.name).c_str(), scanRuns,
                        ops, kind);
    }
  }
  for (const rfb::XrlePack24Ops* ops : rfb::usableXrlePack24Ops()) {
    RegisterBenchmark(name("packLeading", ops->name).c_str(), packTile, ops);
  }
  for (const Kind& kind : kinds) {
    RegisterBenchmark(name("zlib", kind.name).c_str(), deflateTiles, kind);
  }
  RegisterBenchmark("framed", frameBytes);
}

}  // namespace

int main(int argc, char** argv) {
  registerAll();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
