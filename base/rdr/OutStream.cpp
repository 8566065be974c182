#include "base/rdr/OutStream.h"

#include <algorithm>

#include "base/plat/String.h"

namespace rdr {

OutStream::~OutStream() = default;

void OutStream::writeBytes(const void* data, int len) {
  const uint8_t* source = static_cast<const uint8_t*>(data);
  while (len > 0) {
    int piece = std::min(len, nFree());
    if (piece <= 0) piece = overrun(1, len);
    memcpy(ptr, source, static_cast<size_t>(piece));
    ptr += piece;
    source += piece;
    len -= piece;
  }
}

void OutStream::flush() {}

OutStream* OutStream::innermost() {
  return this;
}

int OutStream::pendingBytes() {
  OutStream* last = innermost();
  return last == this ? 0 : last->pendingBytes();
}

bool OutStream::shutdown() {
  return false;
}

void OutStream::setThrowErrors(bool) {}

void OutStream::skip(int n) {
  while (n > 0) {
    int piece = std::min(n, nFree());
    if (piece <= 0) piece = overrun(1, n);
    ptr += piece;
    n -= piece;
  }
}

void OutStream::writeString(const char* text, int maxLen) {
  int length = plat::strNLen(text, maxLen);
  writeU32(static_cast<uint32_t>(length));
  writeBytes(text, length);
}

void OutStream::writeStringU8(const char* text) {
  int length = plat::strNLen(text, 255);
  writeU8(static_cast<uint8_t>(length));
  writeBytes(text, length);
}

}  // namespace rdr
