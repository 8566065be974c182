#include <cstring>
#include <vector>

#include "base/plat/SString.h"
#include "base/plat/utf8.h"
#include "fuzz/fuzz.h"

// Appends the pieces in turn, each in its own way, to an array whose end is watched.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const int capacity = input.number(1, 40);
  std::vector<char> array(static_cast<size_t>(capacity));
  while (input.left() > 0) {
    const int way = input.number(0, 3);
    const int number = input.number(-1, 50);
    const std::string before = array.data();
    const plat::String piece = plat::fixUtf8(input.text(50).c_str());
    std::string whole = before + piece.get();
    if (way == 0) {
      plat::sstrAppend(array.data(), capacity, piece.get());
    } else if (way == 1) {
      plat::sstrAppendPrintf(array.data(), capacity, "%s", piece.get());
    } else if (way == 2) {
      // May cut a character of the piece itself.
      const plat::String part = plat::fixUtf8(piece.get(), nullptr, number < 0 ? 999 : number);
      plat::sstrAppend(array.data(), capacity, piece.get(), part.length());
      whole = before + part.get();
    } else {
      const unsigned codePoint = input.anyNumber<unsigned>() % 0x120000;
      char encoded[4];
      int length = 0;
      if (fuzz::isRefused([&] { length = plat::encodeUtf8Char(codePoint, encoded); })) continue;
      // Neither these nor a NUL are text.
      if (!plat::isValidUtf8(encoded, encoded + length) || codePoint == 0) continue;
      plat::sstrAppendRepeat(array.data(), capacity, codePoint, number);
      whole = before;
      for (int i = 0; i < number; i++) whole.append(encoded, static_cast<size_t>(length));
    }
    const size_t used = strnlen(array.data(), array.size());
    PLAT_ASSERT(used < array.size());
    PLAT_ASSERT(plat::isValidUtf8(array.data()));
    PLAT_ASSERT(whole.compare(0, used, array.data()) == 0);
    // Nothing is cut that fits.
    PLAT_ASSERT(whole.size() >= array.size() ? used + 4 >= array.size() : used == whole.size());
  }
  return 0;
}
