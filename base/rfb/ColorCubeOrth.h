#pragma once

#include "base/rfb/ColourMap.h"

namespace rfb {

// A colour cube: entry (r * nGreen + g) * nBlue + b for evenly spread steps r, g, b of
// each component. lookup() is per component, without a search.
class ColorCubeOrth : public ColourMap {
 public:
  // Precondition: the number of entries fits an int.
  ColorCubeOrth(int newNRed, int newNGreen, int newNBlue)
      : nRed(newNRed), nGreen(newNGreen), nBlue(newNBlue) {}

  void getColour(int index, Colour* c) const override;
  int size() const override { return nRed * nGreen * nBlue; }
  int lookup(const Colour& c) const override;
  bool isOrthogonal() const override { return true; }

 private:
  int nRed;
  int nGreen;
  int nBlue;
};

}  // namespace rfb
