#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>

namespace fuzz {

// Takes a target's arguments off its input: texts from the front and numbers from the end, so
// that a file of the corpus begins with what it is an example of. Where nothing is left a
// text is empty and a number the least that it may be.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : remaining(reinterpret_cast<const char*>(data), size) {}

  size_t left() const { return remaining.size(); }

  template <class T>
  T number(T least, T most) {
    const auto range = static_cast<uint64_t>(most) - static_cast<uint64_t>(least);
    uint64_t value = 0;
    for (int bits = 0; bits < 64 && range >> bits > 0 && !remaining.empty(); bits += CHAR_BIT) {
      value = value << CHAR_BIT | static_cast<uint8_t>(remaining.back());
      remaining.pop_back();
    }
    if (range != UINT64_MAX) value %= range + 1;
    return static_cast<T>(static_cast<uint64_t>(least) + value);
  }
  template <class T>
  T anyNumber() {
    return number(std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
  }
  bool flag() { return anyNumber<uint8_t>() & 1; }

  // As many bytes as there are, at most.
  std::string bytes(size_t size) {
    std::string front = remaining.substr(0, size);
    remaining.erase(0, size);
    return front;
  }
  // Of a length that the input says.
  std::string text(size_t maxSize) { return bytes(number<size_t>(0, maxSize)); }
  std::string rest() { return std::exchange(remaining, ""); }

 private:
  std::string remaining;
};

}  // namespace fuzz
