#include "libs/rfb/EncoderCallbackV4.h"

#include "base/rdr/pageFileLayout.h"
#include "base/rfb/Rect.h"

namespace rfb {

rdr::OutStream* EncoderCallbackV4::startRect(const Rect& r, int encoding) {
  framed.startMsg();
  framed.writeU16(static_cast<uint16_t>(pagefile::rectangleMark | encoding));
  for (int field : {r.tl.x, r.tl.y, r.width(), r.height()}) {
    framed.writeU16(static_cast<uint16_t>(field));
  }
  return &framed;
}

void EncoderCallbackV4::endRect(bool flush) {
  framed.endMsg(flush);
}

int EncoderCallbackV4::bytesWritten() {
  return framed.length();
}

}  // namespace rfb
