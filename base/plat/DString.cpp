#include "base/plat/DString.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

#include "base/plat/Assertion.h"
#include "base/plat/utf8.h"

namespace plat {

namespace {

constexpr int64_t maxCapacity = int64_t{1} << 30;

}  // namespace

DString::DString(const DString& other) {
  if (other.data) appendBytes(other.data, other.used);
}

DString& DString::operator=(DString other) noexcept {
  swap(other);
  return *this;
}

void DString::swap(DString& other) noexcept {
  std::swap(data, other.data);
  std::swap(capacity, other.capacity);
  std::swap(used, other.used);
}

void DString::clear() {
  used = 0;
  if (data) *data = 0;
}

String DString::release() {
  capacity = used = 0;
  return String::adopt(std::exchange(data, nullptr));
}

String DString::enlarge(int64_t size) {
  if (size <= capacity) return String();
  if (size > maxCapacity) throw std::bad_alloc();
  int bigger = static_cast<int>(std::max<uint32_t>(8, std::bit_ceil(static_cast<uint32_t>(size))));
  char* block = static_cast<char*>(heapAlloc(bigger));
  memcpy(block, orEmpty(), used + 1);
  capacity = bigger;
  return String::adopt(std::exchange(data, block));
}

void DString::append(const char* text, int length) {
  if (text) appendBytes(text, strNLen(text, length));
}

void DString::growByBytes(const char* bytes, int count) {
  // The bytes may lie in the old block.
  String old = enlarge(int64_t{used} + count + 1);
  appendBytes(bytes, count);
}

void DString::appendFormat(const char* format, ...) {
  va_list args;
  va_start(args, format);
  appendFormatV(format, args);
  va_end(args);
}

void DString::appendFormatV(const char* format, va_list args) {
  if (!format) return;
  int64_t guess = int64_t{strLen(format)} + 1;
  for (;;) {
    enlarge(used + guess);
    va_list attempt;
    va_copy(attempt, args);
    int written = vsnprintf(data + used, capacity - used, format, attempt);
    va_end(attempt);
    if (written >= 0 && written < capacity - used) {
      used += strNLen(data + used, written);  // "%c" may have written a NUL
      return;
    }
    data[used] = 0;
    // Not for want of room: the format or what it converts is wrong.
    if (written < 0 && (errno == EILSEQ || errno == EINVAL)) return;
    guess = written >= 0 ? int64_t{written} + 1 : guess * 2;
  }
}

void DString::appendRepeat(unsigned codePoint, int count) {
  char encoded[4];
  int bytes = encodeUtf8Char(codePoint, encoded);
  if (count <= 0 || codePoint == 0) return;
  reserve(int64_t{count} * bytes + used + 1);
  char* out = data + used;
  for (int i = 0; i < count; i++) out = std::copy_n(encoded, bytes, out);
  *out = 0;
  used = static_cast<int>(out - data);
}

void DString::replace(int start, int end, const char* text, int length) {
  if (start < 0 || start > end || end > used) return;
  String inserted(plat::orEmpty(text), length);  // `text` may lie in this string
  int bytes = inserted.length();
  int left = used - (end - start);
  reserve(int64_t{left} + bytes + 1);
  memmove(data + start + bytes, data + end, used - end + 1);
  memcpy(data + start, inserted.get(), bytes);
  used = left + bytes;
}

void DString::replaceAll(const char* needle, const char* replacement) {
  int findLen = strLen(needle);
  PLAT_ASSERT(findLen);
  const char* found = strstr(orEmpty(), needle);
  if (!found) return;
  DString result("");
  const char* rest = data;
  for (; found; found = strstr(rest, needle)) {
    result.appendBytes(rest, static_cast<int>(found - rest));
    result.append(replacement);
    rest = found + findLen;
  }
  result.append(rest);
  *this = std::move(result);
}

void DString::takeFrom(const MBuf<unsigned char>& bytes) {
  reserve(1);
  clear();
  append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

bool DString::sanitizeUtf8() {
  if (isValidUtf8(data)) return false;
  String repaired = fixUtf8(data);
  clear();
  append(repaired.get());
  return true;
}

void DString::wordWrap(int width, int indent) {
  if (!data) return;
  DString lineBreak;
  lineBreak.append("\n");
  lineBreak.appendRepeat(' ', indent);
  DString result("");
  int64_t column = 0;
  bool lineIsEmpty = true;
  for (const char* p = data; *p;) {
    if (*p == '\n') {
      result.appendBytes(p++, 1);
      column = 0;
      lineIsEmpty = true;
      continue;
    }
    int blanks = static_cast<int>(strspn(p, " "));
    const char* word = p + blanks;
    int wordLength = static_cast<int>(strcspn(word, " \n"));
    int wordWidth = utf8DisplayWidth(word, word + wordLength);
    if (lineIsEmpty || column + blanks + wordWidth <= width) {
      result.appendBytes(p, blanks + wordLength);
      column += blanks + wordWidth;
    } else if (wordLength > 0) {
      result.appendBytes(lineBreak.get(), lineBreak.length());
      result.appendBytes(word, wordLength);
      column = std::max(indent, 0) + wordWidth;
    }
    lineIsEmpty = false;
    p = word + wordLength;
  }
  *this = std::move(result);
}

String strFormat(const char* format, ...) {
  DString text;
  va_list args;
  va_start(args, format);
  text.appendFormatV(format, args);
  va_end(args);
  return text.release();
}

}  // namespace plat
