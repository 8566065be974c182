#pragma once

#include <cstdarg>
#include <cstdint>

#include "base/plat/Exception.h"
#include "base/plat/MBuf.h"
#include "base/plat/String.h"

namespace plat {

// Growable string, NUL-terminated once anything was stored. Growth goes to the
// smallest power of two that holds the request, at least 8 bytes.
class DString {
 public:
  DString() = default;
  explicit DString(const char* text) { append(text); }
  DString(const DString& other);
  DString(DString&& other) noexcept;
  DString& operator=(DString other) noexcept;
  ~DString();

  const char* get() const { return data; }  // null when nothing was ever stored
  const char* orEmpty() const { return data ? data : ""; }
  int length() const { return strLen(data); }
  void clear();      // keeps the memory
  String release();  // leaves this empty

  // Makes room for `size` bytes, the NUL included.
  void reserve(int size);
  // A null text does nothing. The text may lie in this string.
  void append(const char* text, int length = -1);
  // The arguments must not point into this string. What vsnprintf() refuses, such as
  // a wide character that the locale lacks, appends nothing.
  void appendFormat(const char* format, ...) PLAT_PRINTF(2, 3);
  void appendFormatV(const char* format, va_list args);
  // `count` copies of one character, UTF-8 encoded. Throws plat::Exception
  // "Unicode out of range".
  void appendRepeat(unsigned codePoint, int count);
  // Replaces the bytes [start, end); does nothing when start < 0, start > end or
  // end lies beyond the text.
  void replace(int start, int end, const char* text, int length = -1);
  // Every non-overlapping occurrence, left to right.
  void replaceAll(const char* needle, const char* replacement);
  // Becomes a copy of the bytes, up to a NUL among them.
  void takeFrom(const MBuf<unsigned char>& bytes);
  // Replaces every invalid sequence by U+FFFD; true when it changed anything.
  bool sanitizeUtf8();
  // Breaks at blanks so that no line is wider than `width` columns, unless one
  // word is; continued lines start with `indent` blanks.
  void wordWrap(int width, int indent);

 private:
  // Makes room for `size` bytes and returns the old block when there is a new
  // one. Throws std::bad_alloc above 1 GiB.
  String enlarge(int64_t size);
  // Overwrites from the byte `at` (<= the text's length) on; returns the new length.
  int writeAt(int at, const char* text, int length);

  char* data = nullptr;
  int capacity = 0;  // bytes
};

}  // namespace plat
