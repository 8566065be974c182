#pragma once

#include "base/rfb/Rect.h"

namespace rfb {

// The palette of a colour-map format.
class ColourMap {
 public:
  virtual ~ColourMap() = default;

  // Leaves *c for an index that is no entry.
  virtual void getColour(int index, Colour* c) const = 0;
  virtual int size() const = 0;
  // The first of the nearest entries; 0 for an empty map.
  virtual int lookup(const Colour& c) const;
  // Whether this is a ColorCubeOrth.
  virtual bool isOrthogonal() const { return false; }
};

class ColourMapRW : public ColourMap {
 public:
  virtual void setColour(int index, const Colour& c) = 0;
  // Sets as many entries as `other` has.
  virtual void copyFrom(const ColourMap& other);
};

}  // namespace rfb
