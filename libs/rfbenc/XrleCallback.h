#pragma once

namespace rfb {

// Told by the tile coder where tile rows and tiles begin and end.
class XrleCallback {
 public:
  virtual ~XrleCallback() = default;

  virtual void beginRow() {}
  virtual void beginTile() {}   // its pixels are fetched, not analysed
  virtual bool wantTile() = 0;  // false: the tile is not written
  virtual void endTile() {}     // written or not
  virtual void endRow() {}
};

}  // namespace rfb
