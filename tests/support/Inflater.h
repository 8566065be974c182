#pragma once

#include <zlib.h>

#include <stdexcept>
#include <string>

namespace fakes {

// The receiving end of one zlib stream, piece by piece.
class Inflater {
 public:
  explicit Inflater(bool raw = false) {
    if (inflateInit2(&state, raw ? -15 : 15) != Z_OK) throw std::runtime_error("inflateInit2");
  }
  ~Inflater() { inflateEnd(&state); }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  // All that can be told from the bytes so far. Throws for bytes that are no such stream.
  std::string take(const std::string& deflated) {
    std::string out;
    state.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(deflated.data()));
    state.avail_in = static_cast<uInt>(deflated.size());
    do {
      char piece[4096];
      state.next_out = reinterpret_cast<Bytef*>(piece);
      state.avail_out = sizeof piece;
      const int result = inflate(&state, Z_SYNC_FLUSH);
      if (result != Z_OK && result != Z_BUF_ERROR) throw std::runtime_error("inflate");
      out.append(piece, sizeof piece - state.avail_out);
    } while (state.avail_out == 0);
    return out;
  }

 private:
  z_stream state = {};
};

}  // namespace fakes
