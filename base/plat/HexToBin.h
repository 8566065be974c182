#pragma once

#include "base/plat/MBuf.h"

namespace plat {

// 0 to 15, or -1 for no hexadecimal digit.
int hexDigitValue(char digit);
// Reads exactly 2 * nBytes digits; false at the first other character.
bool hexToBin(const char* text, int nBytes, unsigned char* out);
// The whole text; false for an odd length or another character, leaving `out`.
// What is given up is wiped.
bool hexToBin(const char* text, MBuf<unsigned char>& out);
// Throws plat::Exception "Bad hex string".
MBuf<unsigned char> hexToBin(const char* text);

}  // namespace plat
