#pragma once

#include <memory>
#include <optional>

#include "base/rfb/ColorCubeOrth.h"
#include "base/rfb/PixelBuffer.h"
#include "base/rfb/transInitTempl.h"

namespace rfb {

class ManagedPixelBuffer;

// Shows a source buffer in another pixel format, converting what is read. The conversion
// is chosen, and its table built, when the source's format, the output format or the
// output's colour map changes. The source and both colour maps are borrowed while they are
// set.
//
// The setters throw AssertionFail "inPF.isValid()" or "pf.isValid()" (the source's format,
// the output's), and "inPF.isNativeEndian()" for a big-endian source that neither a single
// table nor a change of byte order can convert; everything stays as it was then.
class TransPixelBuffer : public PixelBuffer {
 public:
  // perChannel16: sources of 16 bpp use three small tables instead of a large one. The
  // output has the default format at first; there is no source.
  explicit TransPixelBuffer(bool newPerChannel16);
  ~TransPixelBuffer() override;

  // Takes the source's rectangle. Null: no source, an empty rectangle.
  void setSource(PixelBuffer* newSource);
  void setPF(const PixelFormat& newPF);
  // For a colour-map output. Null: a colour cube of our own, or nothing for a source that
  // has a colour map.
  void setColourMap(ColourMap* newColourMap);
  // A true-colour format to which colours are reduced first; null: none.
  void setLimitingFormat(const PixelFormat* newLimit);

  // Reading needs a source.
  void getImage(void* imageBuf, const Rect& r, int outStride) override;
  // The pixels are converted into a buffer of r's size: at most 32767 pixels wide and high.
  const uint8_t* getPixelsR(const Rect& r, int* stride) override;
  void grabRegion(const Region& region) override;
  ColourMap* getColourMap() const override;

 private:
  struct Translation {
    TransFn function = nullptr;  // null: the source's pixels are right as they are
    TransTable table;
    std::unique_ptr<ColorCubeOrth> cube;
  };

  void setUp(PixelBuffer& from, const PixelFormat& to, ColourMap* outCM,
             const std::optional<PixelFormat>& newLimit);
  Translation toTrueColour(const ColourPath& path) const;
  static Translation toColourMap(ColourPath path);
  void translate(const Rect& r, uint8_t* out, int outStride);

  bool perChannel16;
  PixelBuffer* source = nullptr;
  PixelFormat sourcePF;                  // at the last set-up,
  ColourMap* sourceColourMap = nullptr;  // as is this
  std::optional<PixelFormat> limit;
  Translation translation;
  std::unique_ptr<ManagedPixelBuffer> conversion;
};

}  // namespace rfb
