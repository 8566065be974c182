// Percent and hexadecimal codes.
#include <algorithm>
#include <cctype>
#include <cstring>

#include "base/plat/BinToHex.h"
#include "base/plat/DString.h"
#include "base/plat/HexToBin.h"
#include "base/plat/percentEncode.h"
#include "fuzz/fuzz.h"

static int hexValue(const std::string& digits) {
  return std::stoi(digits, nullptr, 16);
}

static bool areHexDigits(const std::string& text) {
  return text.find_first_not_of("0123456789abcdefABCDEF") == text.npos;
}

static void checkPercent(const std::string& text, bool option) {
  std::string encoded, decoded;
  bool isRight = true;
  for (size_t i = 0; i < text.size(); i++) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const bool isKept =
        byte >= 0x80 ? !option : isalnum(byte) || strchr("-._*", static_cast<char>(byte));
    encoded += isKept ? text.substr(i, 1) : plat::strFormat("%%%02X", byte).get();
  }
  for (size_t i = 0; i < text.size() && isRight; i++) {
    const std::string digits = text.substr(i + 1, 2);
    if (text[i] != '%') {
      decoded += text[i] == '+' && option ? ' ' : text[i];
    } else if (digits.size() == 2 && areHexDigits(digits)) {
      decoded += static_cast<char>(hexValue(digits));
      i += 2;
    } else {
      isRight = false;
    }
  }
  PLAT_ASSERT(plat::percentEncode(text.c_str(), option) == encoded.c_str());
  PLAT_ASSERT(plat::percentDecode(encoded.c_str(), option) == text.c_str());
  const std::string refusal = fuzz::refusal(
      [&] { PLAT_ASSERT(plat::percentDecode(text.c_str(), option) == decoded.c_str()); });
  PLAT_ASSERT(refusal == (isRight ? "" : ": Bad percent encoding"));
}

static void checkHex(const std::string& text, size_t count) {
  using Bytes = plat::MBuf<unsigned char>;
  const auto asBytes = [](const std::string& bytes) {
    return Bytes(reinterpret_cast<const unsigned char*>(bytes.data()),
                 static_cast<int>(bytes.size()));
  };
  std::string hex, bytes;
  for (const char c : text) hex += plat::strFormat("%02x", static_cast<unsigned char>(c)).get();
  PLAT_ASSERT(plat::binToHex(text.data(), static_cast<int>(text.size())) == hex.c_str());
  PLAT_ASSERT(plat::hexToBin(hex.c_str()) == asBytes(text));

  const bool isRight = text.size() % 2 == 0 && areHexDigits(text);
  for (size_t i = 0; isRight && i < text.size(); i += 2) {
    bytes += static_cast<char>(hexValue(text.substr(i, 2)));
  }
  Bytes out = asBytes("kept");
  PLAT_ASSERT(plat::hexToBin(text.c_str(), out) == isRight);
  PLAT_ASSERT(out == asBytes(isRight ? bytes : "kept"));
  const std::string refusal =
      fuzz::refusal([&] { PLAT_ASSERT(plat::hexToBin(text.c_str()) == out); });
  PLAT_ASSERT(refusal == (isRight ? "" : ": Bad hex string"));

  // What follows the digits that are asked for does not matter.
  count = std::min(count, text.size() / 2);
  std::string start(count, '\0');
  const bool isRead = plat::hexToBin(text.c_str(), static_cast<int>(count),
                                     reinterpret_cast<unsigned char*>(start.data()));
  PLAT_ASSERT(isRead == areHexDigits(text.substr(0, 2 * count)));
  PLAT_ASSERT(!isRight || start == bytes.substr(0, count));
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const bool option = input.flag();
  const auto count = input.number<size_t>(0, 4);
  const std::string text = fuzz::text(input.rest());
  for (const std::string& form :
       {text, fuzz::folded(text, "%%4fG+a0"), fuzz::folded(text, "09aAfF")}) {
    checkPercent(form, option);
    checkHex(form, count);
  }
  return 0;
}
