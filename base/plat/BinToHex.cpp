#include "base/plat/BinToHex.h"

#include "base/plat/Assertion.h"
#include "base/plat/DString.h"

namespace plat {

char hexChar(int i) {
  PLAT_ASSERT_THROW(i >= 0 && i <= 15);
  return "0123456789abcdef"[i];
}

String binToHex(const void* data, int length) {
  if (!data || length < 0) length = 0;
  const unsigned char* bytes = static_cast<const unsigned char*>(data);
  DString text;
  // Once and for all: what is converted may be a secret, and a block given up stays.
  text.reserve(int64_t{2} * length + 1);
  for (int i = 0; i < length; i++) {
    const char digits[] = {hexChar(bytes[i] >> 4), hexChar(bytes[i] & 15)};
    text.appendBytes(digits, sizeof digits);
  }
  return text.release();
}

}  // namespace plat
