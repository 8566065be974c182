#pragma once

#include "base/region/miregion.h"

namespace rfb {

struct Point {
  int x = 0;
  int y = 0;

  bool operator==(const Point&) const = default;
};

// tl is inclusive, br exclusive. A rectangle may lie anywhere, and be empty or turned
// inside out; a width or height beyond 2^31 - 1 wraps.
struct Rect {
  Rect() = default;
  Rect(int x1, int y1, int x2, int y2) : tl{x1, y1}, br{x2, y2} {}
  explicit Rect(const RgnRect& box) : Rect(box.x1, box.y1, box.x2, box.y2) {}
  // Clamps each coordinate to 16 bits.
  explicit operator RgnRect() const;

  int width() const { return difference(br.x, tl.x); }
  int height() const { return difference(br.y, tl.y); }
  bool isEmpty() const { return br.x <= tl.x || br.y <= tl.y; }
  bool encloses(const Rect& other) const {
    return other.tl.x >= tl.x && other.tl.y >= tl.y && other.br.x <= br.x && other.br.y <= br.y;
  }
  // The common part; of no area, never negative in size, when there is none.
  Rect intersect(const Rect& other) const;
  // The same rectangle as seen from `origin`.
  Rect relativeTo(const Point& origin) const;
  bool operator==(const Rect&) const = default;

  Point tl;
  Point br;

 private:
  static int difference(int a, int b) { return static_cast<int>(int64_t{a} - b); }
};

// "%d,%d to %d,%d" for messages.
struct RectText {
  explicit RectText(const Rect& r);

  char text[56];
};

// 0 to 255 each, unless a user says otherwise.
struct Colour {
  int red = 0;
  int green = 0;
  int blue = 0;

  bool operator==(const Colour&) const = default;
};

}  // namespace rfb
