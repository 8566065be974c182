#include "base/rdr/StringWriter.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <string>

#include "base/plat/String.h"
#include "base/plat/utf8.h"
#include "base/rdr/Exceptions.h"

namespace rdr {

void StringWriter::append(const char* text, int len) {
  out.writeBytes(text, plat::strNLen(text, len));
  terminate();
}

void StringWriter::appendf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  try {
    appendV(format, args);
  } catch (...) {
    va_end(args);
    throw;
  }
  va_end(args);
}

void StringWriter::appendV(const char* format, va_list args) {
  std::string wide;  // for a text above the widest window of the stream
  int estimate = plat::strLen(format);
  for (;;) {
    if (estimate == INT_MAX) throw OutStreamFull();
    const bool inPlace = estimate < out.nFree() || out.overrun(estimate + 1, 1) > 0;
    if (!inPlace) wide.resize(static_cast<size_t>(estimate) + 1);
    char* target = inPlace ? reinterpret_cast<char*>(out.getPtr()) : wide.data();
    const int room = inPlace ? out.nFree() : estimate + 1;

    va_list attempt;
    va_copy(attempt, args);
    const int length = vsnprintf(target, static_cast<size_t>(room), format, attempt);
    va_end(attempt);

    if (length < 0) {
      estimate = estimate > INT_MAX / 2 ? INT_MAX : std::max(estimate * 2, 1);
    } else if (length >= room) {
      estimate = length;
    } else if (inPlace) {
      out.setPtr(out.getPtr() + length);
      return;
    } else {
      out.writeBytes(target, length);
      terminate();
      return;
    }
  }
}

void StringWriter::appendChars(unsigned codePoint, int count) {
  if (count < 1) return;
  char encoded[4];
  const int length = plat::encodeUtf8Char(codePoint, encoded);
  for (int i = 0; i < count; ++i) out.writeBytes(encoded, length);
  terminate();
}

void StringWriter::terminate() {
  if (out.nFree() < 1) out.overrun(1, 1);
  *out.getPtr() = 0;
}

}  // namespace rdr
