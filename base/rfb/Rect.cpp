#include "base/rfb/Rect.h"

#include <algorithm>
#include <cstdio>

namespace rfb {

namespace {

int16_t clampTo16(int coordinate) {
  return static_cast<int16_t>(std::clamp(coordinate, INT16_MIN, INT16_MAX));
}

}  // namespace

Rect::operator RgnRect() const {
  return {clampTo16(tl.x), clampTo16(tl.y), clampTo16(br.x), clampTo16(br.y)};
}

Rect Rect::intersect(const Rect& other) const {
  Rect common;
  common.tl = {std::max(tl.x, other.tl.x), std::max(tl.y, other.tl.y)};
  common.br = {std::max(common.tl.x, std::min(br.x, other.br.x)),
               std::max(common.tl.y, std::min(br.y, other.br.y))};
  return common;
}

Rect Rect::relativeTo(const Point& origin) const {
  return {difference(tl.x, origin.x), difference(tl.y, origin.y), difference(br.x, origin.x),
          difference(br.y, origin.y)};
}

RectText::RectText(const Rect& r) {
  snprintf(text, sizeof text, "%d,%d to %d,%d", r.tl.x, r.tl.y, r.br.x, r.br.y);
}

}  // namespace rfb
