#include "base/plat/HexToBin.h"

#include "base/plat/Exception.h"

namespace plat {

int hexDigitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

bool hexToBin(const char* text, int nBytes, unsigned char* out) {
  if (!text) return nBytes <= 0;
  for (int i = 0; i < nBytes; i++) {
    int high = hexDigitValue(*text++);
    if (high < 0) return false;
    int low = hexDigitValue(*text++);
    if (low < 0) return false;
    out[i] = static_cast<unsigned char>(high << 4 | low);
  }
  return true;
}

bool hexToBin(const char* text, MBuf<unsigned char>& out) {
  int length = strLen(text);
  if (length % 2 != 0) return false;
  MBuf<unsigned char> bytes(length / 2, true);
  if (!hexToBin(text, length / 2, bytes.data())) return false;
  out.swap(bytes);
  bytes.setWipe(true);
  return true;
}

MBuf<unsigned char> hexToBin(const char* text) {
  MBuf<unsigned char> bytes;
  if (!hexToBin(text, bytes)) throw Exception("Bad hex string");
  return bytes;
}

}  // namespace plat
