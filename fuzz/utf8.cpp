#include "base/plat/utf8.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "fuzz/fuzz.h"

// Begins and ends in a block of its own, so that a byte read beyond is seen.
static void checkRepair(const std::string& text, int maxBytes) {
  const auto block = std::make_unique<char[]>(text.size());
  const char* begin = block.get();
  const char* end = std::copy(text.begin(), text.end(), block.get());
  const plat::String fixed = plat::fixUtf8(begin, end);
  PLAT_ASSERT(plat::isValidUtf8(fixed.get()));
  PLAT_ASSERT(plat::fixUtf8(fixed.get()) == fixed);
  PLAT_ASSERT(plat::fixUtf8(text.c_str()) == fixed);
  PLAT_ASSERT(plat::isValidUtf8(begin, end) == (fixed == text.c_str()));

  const plat::String cut = plat::fixUtf8(begin, end, maxBytes);
  PLAT_ASSERT(cut.length() <= maxBytes);
  PLAT_ASSERT(plat::isValidUtf8(cut.get()));
  PLAT_ASSERT(plat::startsWith(fixed.get(), cut.get()));
  PLAT_ASSERT(fixed.length() > maxBytes || cut == fixed);
  PLAT_ASSERT(plat::utf8DisplayWidth(begin, end) >= 0);
}

static void checkEscape(const char* text, char escapeChar) {
  const plat::String escaped = plat::escapeUtf8(text, escapeChar);
  PLAT_ASSERT(plat::isValidUtf8(escaped.get()));
  for (const char* p = escaped.get(); *p; p++) {
    PLAT_ASSERT(static_cast<unsigned char>(*p) >= 0x20 && *p != 0x7f);
  }
}

static void checkLatin1(const std::string& bytes) {
  int length;
  const plat::String wide =
      plat::latin1ToUtf8(bytes.data(), static_cast<int>(bytes.size()), &length);
  const plat::String back = plat::utf8ToLatin1(wide.get(), length, &length);
  PLAT_ASSERT(std::string(back.get(), static_cast<size_t>(length)) == bytes);

  plat::utf8ToLatin1(bytes.data(), static_cast<int>(bytes.size()), &length);
  PLAT_ASSERT(static_cast<size_t>(length) <= bytes.size());
}

static void checkRange(const char* text, int start, int length) {
  const int textLength = plat::utf8ClampRange(text, &start, &length);
  PLAT_ASSERT(static_cast<size_t>(textLength) == strlen(text));
  PLAT_ASSERT(start >= 0 && length >= 0 && start <= textLength && length <= textLength - start);
  const plat::String range(text + start, length);
  PLAT_ASSERT(!plat::isValidUtf8(text) || plat::isValidUtf8(range.get()));
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const int first = input.anyNumber<int>(), second = input.anyNumber<int>();
  const int maxBytes = input.anyNumber<uint8_t>();
  const std::string bytes = input.rest();
  checkRepair(fuzz::text(bytes), maxBytes);
  checkEscape(bytes.c_str(), '~');
  checkLatin1(bytes);
  checkRange(bytes.c_str(), first % 100, second % 100);
  checkRange(bytes.c_str(), first, second);
  return 0;
}
