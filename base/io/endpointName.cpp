#include "base/io/endpointName.h"

#include <cstring>

#include "base/rdr/MemOutStream.h"
#include "base/rdr/StringWriter.h"

namespace io {

static bool isComponentByte(unsigned char byte) {
  return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
         (byte >= '0' && byte <= '9') || byte >= 128 || strchr(" !$&'()*+,-.;=_~", byte);
}

plat::String escapeComponent(const char* text) {
  rdr::MemOutStream escaped(128);
  rdr::StringWriter writer(escaped);
  for (; text && *text; text++) {
    unsigned char byte = static_cast<unsigned char>(*text);
    if (isComponentByte(byte)) {
      writer.append(text, 1);
    } else {
      writer.appendf("%%%.2X", byte);
    }
  }
  return escaped.takeText();
}

}  // namespace io
