#include "base/rfb/ColorCubeOrth.h"

namespace rfb {

namespace {

int componentOf(int step, int n) {
  return n < 2 ? 0 : (step * 255 + (n - 1) / 2) / (n - 1);
}

int stepOf(int component, int n) {
  return (component * (n - 1) + 127) / 255;
}

}  // namespace

void ColorCubeOrth::getColour(int index, Colour* c) const {
  if (index < 0 || index >= size()) return;
  *c = {componentOf(index / nBlue / nGreen, nRed), componentOf(index / nBlue % nGreen, nGreen),
        componentOf(index % nBlue, nBlue)};
}

int ColorCubeOrth::lookup(const Colour& c) const {
  return (stepOf(c.red, nRed) * nGreen + stepOf(c.green, nGreen)) * nBlue + stepOf(c.blue, nBlue);
}

}  // namespace rfb
