#pragma once

#include "base/plat/String.h"

namespace plat {

// Keeps letters, digits and "-._*"; every other byte becomes "%XX". Bytes of 0x80
// and above are kept unless encodeHighBytes is set. Null gives null.
String percentEncode(const char* text, bool encodeHighBytes);
// Throws plat::Exception "Bad percent encoding". Null gives null; a "%00" ends the text.
String percentDecode(const char* text, bool plusIsSpace);

}  // namespace plat
