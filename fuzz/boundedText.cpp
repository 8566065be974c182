#include <vector>

#include "base/plat/SString.h"
#include "base/plat/utf8.h"
#include "fuzz/fuzz.h"

// The longest prefix of whole characters in at most `bytes` bytes.
static std::string wholeCharacters(const std::string& text, size_t bytes) {
  if (text.size() <= bytes) return text;
  while (bytes > 0 && plat::isUtf8Continuation(text[bytes])) bytes--;
  return text.substr(0, bytes);
}

// Appends the pieces in turn, each in its own way, to an array with guards behind its end.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const int capacity = input.number(1, 40);
  const std::string guards = "####";
  std::vector<char> array(static_cast<size_t>(capacity));
  array.insert(array.end(), guards.begin(), guards.end());
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
      const unsigned codePoint = (input.anyNumber<unsigned>() >> input.number(0, 24)) % 0x120000;
      char encoded[4];
      int length = 0;
      const std::string refusal =
          fuzz::refusal([&] { length = plat::encodeUtf8Char(codePoint, encoded); });
      PLAT_ASSERT(refusal == (codePoint < 0x110000 ? "" : ": Unicode out of range"));
      // Neither these nor a NUL are text.
      if (length == 0 || !plat::isValidUtf8(encoded, encoded + length) || codePoint == 0) continue;
      plat::sstrAppendRepeat(array.data(), capacity, codePoint, number);
      whole = before;
      for (int i = 0; i < number; i++) whole.append(encoded, static_cast<size_t>(length));
    }
    PLAT_ASSERT(array.data() == wholeCharacters(whole, static_cast<size_t>(capacity) - 1));
    PLAT_ASSERT(std::string(array.end() - 4, array.end()) == guards);
  }
  return 0;
}
