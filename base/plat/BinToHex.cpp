#include "base/plat/BinToHex.h"

#include <climits>
#include <new>

#include "base/plat/Assertion.h"

namespace plat {

char hexChar(int i) {
  PLAT_ASSERT_THROW(i >= 0 && i <= 15);
  return "0123456789abcdef"[i];
}

String binToHex(const void* data, int length) {
  if (!data || length < 0) length = 0;
  if (length > INT_MAX / 2) throw std::bad_alloc();
  const unsigned char* bytes = static_cast<const unsigned char*>(data);
  char* text = static_cast<char*>(heapAlloc(size_t{2} * length + 1));
  char* out = text;
  for (int i = 0; i < length; i++) {
    *out++ = hexChar(bytes[i] >> 4);
    *out++ = hexChar(bytes[i] & 15);
  }
  *out = 0;
  return String::adopt(text);
}

}  // namespace plat
