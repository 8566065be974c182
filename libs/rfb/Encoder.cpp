#include "libs/rfb/Encoder.h"

#include <map>

#include "base/rfb/Rect.h"
#include "libs/rfb/EncoderCallback.h"

namespace rfb {

namespace {

// Not a static object of its own: others register while static objects come into being.
std::map<int, EncoderFactory>& factories() {
  static std::map<int, EncoderFactory> map;
  return map;
}

}  // namespace

int Encoder::getNumRects(const Region& region) {
  return callback->getRects(region).first;
}

bool Encoder::writeRects(const Region& region, PixelBuffer* pb, Region*) {
  const auto [count, boxes] = callback->getRects(region);
  for (int i = 0; i < count; ++i) writeRect(Rect(boxes[i]), pb);
  return true;
}

bool Encoder::writeRect(const Rect& r, PixelBuffer* pb) {
  rdr::OutStream* os = callback->startRect(r, encoding);
  writeRectData(r, os, pb);
  callback->endRect(false);
  return true;
}

bool Encoder::registerFactory(int encoding, EncoderFactory factory) {
  factories()[encoding] = factory;
  return true;
}

bool Encoder::isSupported(int encoding) {
  return factories().count(encoding) != 0;
}

std::unique_ptr<Encoder> Encoder::create(EncoderCallback* callback, int encoding) {
  const auto found = factories().find(encoding);
  return found == factories().end() ? nullptr : found->second(callback, encoding);
}

std::vector<int> Encoder::supportedEncodings() {
  std::vector<int> encodings;
  for (const auto& [encoding, factory] : factories()) encodings.push_back(encoding);
  return encodings;
}

}  // namespace rfb
