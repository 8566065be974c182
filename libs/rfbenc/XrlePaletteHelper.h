#pragma once

#include <cstdint>
#include <cstring>

namespace rfb {

// The colours of a tile by order of first appearance, with a table to find them.
struct XrlePaletteHelper {
  static constexpr int MAX_SIZE = 127;

  XrlePaletteHelper() { clear(); }

  void clear() {
    memset(hash, emptySlot, sizeof hash);
    size = 0;
  }
  // The index of a colour, or -1. Precondition: size <= MAX_SIZE, a fatal assertion.
  int lookup(uint32_t colour) const;
  // The index of a colour, which becomes an entry unless it is one.
  // Precondition: size < MAX_SIZE.
  int findOrInsert(uint32_t colour) {
    int slot = findSlot(colour);
    if (hash[slot] == emptySlot) {
      hash[slot] = static_cast<uint8_t>(size);
      colours[size++] = colour;
    }
    return hash[slot];
  }

  uint32_t colours[MAX_SIZE];
  int size;  // entries; above MAX_SIZE: too many colours for a palette

 private:
  static constexpr uint8_t emptySlot = 0xff;

  // The colour's slot, or the empty one where it belongs. Slots behind the last bucket
  // take what is displaced from it, so that a search never goes around.
  int findSlot(uint32_t colour) const {
    int slot = (colour ^ (colour >> 10) ^ (colour >> 20)) & 0x3ff;
    while (hash[slot] != emptySlot && colours[hash[slot]] != colour) ++slot;
    return slot;
  }

  uint8_t hash[1152];  // indexes of entries
};

}  // namespace rfb
