#pragma once

#include <cstdarg>

#include "base/plat/Exception.h"
#include "base/rdr/OutStream.h"

namespace rdr {

// Appends text to a stream. A NUL, not counted in the stream's length, stands
// behind the text, so that the data of a memory stream is a C string.
class StringWriter {
 public:
  explicit StringWriter(OutStream& borrowedOut) : out(borrowedOut) {}

  // Up to the NUL, at most len bytes; negative: no limit.
  void append(const char* text, int len = -1);
  void appendf(const char* format, ...) PLAT_PRINTF(2, 3);
  // `count` copies, UTF-8 encoded. Throws plat::Exception "Unicode out of range".
  void appendChars(unsigned codePoint, int count);

 private:
  void appendV(const char* format, va_list args);
  void terminate();

  OutStream& out;
};

}  // namespace rdr
