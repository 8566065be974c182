#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/plat/NonCopyable.h"

namespace rdr {
class OutStream;
}

namespace rfb {

class Encoder;
class EncoderCallback;
class PixelBuffer;
class Region;
struct Rect;

using EncoderFactory = std::unique_ptr<Encoder> (*)(EncoderCallback* callback, int encoding);

// Writes rectangles of a pixel buffer, in one encoding, where its callback says. An
// encoder is used by one thread at a time. Exceptions of the callback, the stream and the
// pixel buffer pass through; the rectangle is then not ended.
class Encoder : private plat::NonCopyable {
 public:
  virtual ~Encoder() = default;

  // Unused; keeps its place in the order of the virtual operations, as does
  // reservedQuery().
  virtual void reservedHook() {}
  // Rectangles that writeRects() writes for the region when it holds nothing back.
  virtual int getNumRects(const Region& region);
  // Writes the region box by box. `updated`, another object than region, holds the region
  // on entry; what is held back for a later update is taken out of it. False: a box was
  // written in part.
  virtual bool writeRects(const Region& region, PixelBuffer* pb, Region* updated);
  // With header. r lies within the buffer.
  virtual bool writeRect(const Rect& r, PixelBuffer* pb);
  // The data alone.
  virtual bool writeRectData(const Rect& r, rdr::OutStream* os, PixelBuffer* pb) = 0;
  // The next rectangle is for a receiver that has seen none.
  virtual void reset() {}
  virtual bool reservedQuery() { return true; }

  // Encoders by encoding number. Registering is for static initialisers; true.
  static bool registerFactory(int encoding, EncoderFactory factory);
  static bool isSupported(int encoding);
  // Null when the encoding is not supported.
  static std::unique_ptr<Encoder> create(EncoderCallback* callback, int encoding);
  static std::vector<int> supportedEncodings();  // ascending

 protected:
  // The callback is borrowed and outlives the encoder.
  Encoder(EncoderCallback* newCallback, int32_t newEncoding)
      : callback(newCallback), encoding(newEncoding) {}

  EncoderCallback* callback;
  int32_t encoding;  // announced for each rectangle
};

}  // namespace rfb
