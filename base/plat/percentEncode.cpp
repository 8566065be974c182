#include "base/plat/percentEncode.h"

#include <cstring>

#include "base/plat/DString.h"
#include "base/plat/Exception.h"
#include "base/plat/HexToBin.h"

namespace plat {

namespace {

bool isKept(unsigned char byte, bool encodeHighBytes) {
  if (byte >= 0x80) return !encodeHighBytes;
  return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
         (byte >= '0' && byte <= '9') || strchr("-._*", byte);
}

}  // namespace

String percentEncode(const char* text, bool encodeHighBytes) {
  if (!text) return String();
  DString encoded("");
  for (const char* p = text; *p; p++) {
    unsigned char byte = *p;
    if (isKept(byte, encodeHighBytes)) {
      encoded.appendBytes(p, 1);
    } else {
      encoded.appendFormat("%%%.2X", byte);
    }
  }
  return encoded.release();
}

String percentDecode(const char* text, bool plusIsSpace) {
  String decoded(text);
  if (!text) return decoded;
  char* out = decoded.data();
  for (const char* p = out; *p; p++) {
    if (*p == '%') {
      unsigned char byte;
      if (!hexToBin(p + 1, 1, &byte)) throw Exception("Bad percent encoding");
      *out++ = static_cast<char>(byte);
      p += 2;
    } else {
      *out++ = *p == '+' && plusIsSpace ? ' ' : *p;
    }
  }
  *out = 0;
  return decoded;
}

}  // namespace plat
