#include "base/rfb/ColourMap.h"

#include <cstdint>

namespace rfb {

int ColourMap::lookup(const Colour& c) const {
  int nearest = 0;
  int64_t smallest = INT32_MAX;
  int count = size();
  for (int i = 0; i < count; ++i) {
    Colour entry;
    getColour(i, &entry);
    int64_t red = int64_t{entry.red} - c.red;
    int64_t green = int64_t{entry.green} - c.green;
    int64_t blue = int64_t{entry.blue} - c.blue;
    int64_t distance = red * red + green * green + blue * blue;
    if (distance < smallest) {
      smallest = distance;
      nearest = i;
    }
  }
  return nearest;
}

void ColourMapRW::copyFrom(const ColourMap& other) {
  for (int i = 0; i < other.size(); ++i) {
    Colour entry;
    other.getColour(i, &entry);
    setColour(i, entry);
  }
}

}  // namespace rfb
