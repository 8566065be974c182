#pragma once

#include "base/rdr/OutStreamV4.h"
#include "libs/rfb/EncoderCallback.h"

namespace rfb {

// Each rectangle is a message of frames on the given stream, as base/rdr/pageFileLayout.h has
// it.
class EncoderCallbackV4 : public EncoderCallback {
 public:
  // The stream is borrowed and outlives the callback.
  explicit EncoderCallbackV4(rdr::OutStream* out) : framed(out) {}

  rdr::OutStream* startRect(const Rect& r, int encoding) override;
  void endRect(bool flush) override;
  int bytesWritten() override;  // without the frames' headers

 private:
  rdr::OutStreamV4 framed;
};

}  // namespace rfb
