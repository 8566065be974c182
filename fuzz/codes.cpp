// Percent and hexadecimal codes.
#include <cstring>

#include "base/plat/BinToHex.h"
#include "base/plat/HexToBin.h"
#include "base/plat/percentEncode.h"
#include "fuzz/fuzz.h"

static void checkPercent(const std::string& text, bool option) {
  const plat::String encoded = plat::percentEncode(text.c_str(), option);
  for (const char* p = encoded.get(); *p; p++) {
    PLAT_ASSERT(isalnum(static_cast<unsigned char>(*p)) || strchr("-._*%", *p) ||
                (!option && (*p & 0x80)));
  }
  PLAT_ASSERT(plat::percentDecode(encoded.get(), option) == text.c_str());

  fuzz::isRefused([&] {
    const plat::String decoded = plat::percentDecode(text.c_str(), option);
    PLAT_ASSERT(static_cast<size_t>(decoded.length()) <= text.size());
  });
}

static void checkHex(const std::string& text) {
  plat::MBuf<unsigned char> bytes;
  if (plat::hexToBin(text.c_str(), bytes)) {
    plat::String lower(text.c_str());
    plat::toLower(lower);
    PLAT_ASSERT(plat::binToHex(bytes.data(), bytes.size()) == lower);
  }
  const plat::String hex = plat::binToHex(text.data(), static_cast<int>(text.size()));
  PLAT_ASSERT(plat::hexToBin(hex.get()) ==
              plat::MBuf<unsigned char>(reinterpret_cast<const unsigned char*>(text.data()),
                                        static_cast<int>(text.size())));
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const bool option = input.flag();
  const std::string text = fuzz::text(input.rest());
  checkPercent(text, option);
  checkHex(text);
  return 0;
}
