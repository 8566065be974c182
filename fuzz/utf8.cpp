#include "base/plat/utf8.h"

#include <wchar.h>

#include <algorithm>
#include <memory>

#include "fuzz/fuzz.h"

namespace {

// The value is -1 for bytes that are no character: they end where one could not go on.
struct Character {
  int value;
  std::string bytes;
};

std::string encoded(int value) {
  char bytes[4];
  return std::string(bytes, static_cast<size_t>(plat::encodeUtf8Char(value, bytes)));
}

std::vector<Character> charactersOf(const std::string& text) {
  std::vector<Character> characters;
  for (size_t at = 0; at < text.size(); at += characters.back().bytes.size()) {
    const int lead = static_cast<unsigned char>(text[at]);
    const bool isAscii = lead < 0x80, isLead = lead >= 0xc0 && lead < 0xf8;
    const size_t length = !isLead ? 1 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
    size_t end = at + 1;
    while (end < std::min(at + length, text.size()) && (text[end] & 0xc0) == 0x80) end++;
    const std::string bytes = text.substr(at, end - at);
    int value = isAscii ? lead : -1;
    if (isLead && bytes.size() == length) {
      value = lead & 0xff >> (length + 1);
      for (size_t i = 1; i < length; i++) value = value * 64 + (bytes[i] & 0x3f);
      if (value > 0x10ffff || encoded(value) != bytes || (value >= 0xd800 && value < 0xe000) ||
          (value >= 0xfdd0 && value < 0xfdf0) || value % 0x10000 >= 0xfffe) {
        value = -1;
      }
    }
    characters.push_back({value, bytes});
  }
  return characters;
}

// Of a text without NULs; where `end` is null the end is its NUL.
void checkText(const char* begin, const char* end, int maxBytes) {
  std::string fixed, cut;
  bool isValid = true, isWhole = true;
  int width = 0;
  for (const Character& c : charactersOf(end ? std::string(begin, end) : begin)) {
    isValid = isValid && c.value >= 0;
    const std::string shown = c.value >= 0 ? c.bytes : "\xEF\xBF\xBD";
    fixed += shown;
    isWhole = isWhole && cut.size() + shown.size() <= static_cast<size_t>(maxBytes);
    if (isWhole) cut += shown;
    const int columns = wcwidth(static_cast<wchar_t>(c.value));
    if (isValid) width += columns < 0 ? 1 : columns;
  }
  PLAT_ASSERT(plat::isValidUtf8(begin, end) == isValid);
  PLAT_ASSERT(plat::fixUtf8(begin, end) == fixed.c_str());
  PLAT_ASSERT(plat::fixUtf8(begin, end, maxBytes) == cut.c_str());
  PLAT_ASSERT(plat::utf8DisplayWidth(begin, end) == width);
}

void checkEscape(const std::string& text, char escapeChar) {
  std::string escaped;
  const std::string escape(1, escapeChar);
  for (const Character& c : charactersOf(text)) {
    if (c.value < 0) {
      for (const char byte : c.bytes) {
        const char low = byte & 0x7f;
        const bool isPrintable = low > ' ' && low < 0x7f;
        escaped +=
            escape + "M" + (isPrintable ? '-' : '^') + (isPrintable ? low : char(low ^ 0x40));
      }
    } else if (c.bytes == escape) {
      escaped += escape + escape;
    } else if (c.value < ' ' || c.value == 0x7f) {
      escaped += escape + "^" + static_cast<char>(c.value ^ 0x40);
    } else {
      escaped += c.bytes;
    }
  }
  PLAT_ASSERT(plat::escapeUtf8(text.c_str(), escapeChar) == escaped.c_str());
}

// These take NULs for characters, unless the length is for them to find.
void checkLatin1(const std::string& bytes, size_t size) {
  const std::string start = bytes.substr(0, size);
  std::string narrow, wide;
  for (const Character& c : charactersOf(start)) {
    const int value = c.value == 0x20ac ? 0x80 : c.value;
    narrow += value >= 0 && value < 256 ? static_cast<char>(value) : '?';
  }
  for (const unsigned char byte : start) wide += encoded(byte == 0x80 ? 0x20ac : byte);
  const auto check = [&](auto convert, const std::string& expected) {
    int length;
    const plat::String all = convert(bytes.data(), static_cast<int>(size), &length);
    PLAT_ASSERT(std::string(all.get(), static_cast<size_t>(length)) == expected);
    PLAT_ASSERT(convert(start.c_str(), -1, nullptr) == expected.c_str());
  };
  check(plat::utf8ToLatin1, narrow);
  check(plat::latin1ToUtf8, wide);
}

void checkRange(const std::string& text, int start, int length) {
  const int size = static_cast<int>(text.size());
  const auto isInside = [&](int at) { return at < size && plat::isUtf8Continuation(text[at]); };
  int first = std::clamp(start, 0, size);
  int last = length < 0 ? size : static_cast<int>(std::min<int64_t>(int64_t{first} + length, size));
  while (isInside(first)) first++;
  while (last > first && isInside(last)) last--;
  PLAT_ASSERT(plat::utf8ClampRange(text.c_str(), &start, &length) == size);
  PLAT_ASSERT(start == first && length == std::max(last - first, 0));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const int start = input.anyNumber<int>(), length = input.anyNumber<int>();
  const int maxBytes = input.number(0, 40);
  const std::string bytes = input.rest(), text = fuzz::text(bytes);
  const char* begin = text.c_str();
  // What follows the end might complete a character, and a byte read beyond a block is seen.
  const char* end = begin + text.size() / 2;
  const size_t half = static_cast<size_t>(end - begin);
  const auto block = std::make_unique<char[]>(half);
  std::copy(begin, end, block.get());
  checkText(begin, nullptr, maxBytes);
  checkText(begin, end, maxBytes);
  checkText(block.get(), block.get() + half, maxBytes);
  for (const char escapeChar : {'~', '\\', '\t'}) checkEscape(text, escapeChar);
  checkLatin1(bytes, bytes.size());
  checkLatin1(bytes, bytes.size() / 2);
  checkRange(text, start % 20, length % 20);
  checkRange(text, start, length);
  return 0;
}
