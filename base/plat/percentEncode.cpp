#include "base/plat/percentEncode.h"

#include <climits>
#include <cstdio>
#include <cstring>
#include <new>

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
  size_t size = 0;
  for (const char* p = text; *p; p++) size += isKept(*p, encodeHighBytes) ? 1 : 3;
  if (size > INT_MAX) throw std::bad_alloc();
  char* encoded = static_cast<char*>(heapAlloc(size + 1));
  char* out = encoded;
  for (const char* p = text; *p; p++) {
    unsigned char byte = *p;
    if (isKept(byte, encodeHighBytes)) {
      *out++ = *p;
    } else {
      out += snprintf(out, 4, "%%%.2X", byte);
    }
  }
  *out = 0;
  return String::adopt(encoded);
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
