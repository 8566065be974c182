#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstring>

#include "base/plat/MBuf.h"
#include "base/plat/String.h"
#include "base/plat/printfFormat.h"

namespace plat {

// Growable string, NUL-terminated once anything was stored. Growth goes to the
// smallest power of two that holds the request, at least 8 bytes; above 1 GiB it throws
// std::bad_alloc.
class DString {
 public:
  DString() = default;
  explicit DString(const char* text) { append(text); }
  DString(const DString& other);
  DString(DString&& other) noexcept { swap(other); }
  DString& operator=(DString other) noexcept;
  ~DString() { free(data); }

  const char* get() const { return data; }  // null when nothing was ever stored
  const char* orEmpty() const { return plat::orEmpty(data); }
  int length() const { return used; }
  void clear();      // keeps the memory
  String release();  // leaves this empty

  // Makes room for `size` bytes, the NUL included.
  void reserve(int64_t size) { enlarge(size); }
  // A null text does nothing. The text may lie in this string.
  void append(const char* text, int length = -1);
  // Exactly `count` >= 0 bytes, which may lie in this string. NULs among them count for
  // length(), but replaceAll(), sanitizeUtf8() and wordWrap() see the text up to the first.
  void appendBytes(const char* bytes, int count) {
    if (count >= capacity - used) return growByBytes(bytes, count);
    memcpy(data + used, bytes, static_cast<unsigned>(count));
    used += count;
    data[used] = 0;
  }
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
  // Makes room for `size` bytes and returns the old block when there is a new one.
  String enlarge(int64_t size);
  void growByBytes(const char* bytes, int count);
  void swap(DString& other) noexcept;

  char* data = nullptr;
  int capacity = 0;  // bytes
  int used = 0;      // the NUL behind them does not count
};

// A text of its own, as DString::appendFormat makes it.
String strFormat(const char* format, ...) PLAT_PRINTF(1, 2);

}  // namespace plat
