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
  append(other.data);
}

DString::DString(DString&& other) noexcept
    : data(std::exchange(other.data, nullptr)), capacity(std::exchange(other.capacity, 0)) {}

DString& DString::operator=(DString other) noexcept {
  std::swap(data, other.data);
  std::swap(capacity, other.capacity);
  return *this;
}

DString::~DString() {
  free(data);
}

void DString::clear() {
  if (data) *data = 0;
}

String DString::release() {
  capacity = 0;
  return String::adopt(std::exchange(data, nullptr));
}

void DString::reserve(int size) {
  enlarge(size);
}

String DString::enlarge(int64_t size) {
  if (size <= capacity) return String();
  if (size > maxCapacity) throw std::bad_alloc();
  int bigger = static_cast<int>(std::max<uint32_t>(8, std::bit_ceil(static_cast<uint32_t>(size))));
  char* block = static_cast<char*>(heapAlloc(bigger));
  int length = strLen(data);
  memcpy(block, orEmpty(), length + 1);
  capacity = bigger;
  return String::adopt(std::exchange(data, block));
}

int DString::writeAt(int at, const char* text, int length) {
  // The text may lie in the old block.
  String old = enlarge(int64_t{at} + length + 1);
  memmove(data + at, text, length);
  data[at + length] = 0;
  return at + length;
}

void DString::append(const char* text, int length) {
  if (text) writeAt(strLen(data), text, strNLen(text, length));
}

void DString::appendFormat(const char* format, ...) {
  va_list args;
  va_start(args, format);
  appendFormatV(format, args);
  va_end(args);
}

void DString::appendFormatV(const char* format, va_list args) {
  if (!format) return;
  int used = length();
  int64_t guess = int64_t{strLen(format)} + 1;
  for (;;) {
    enlarge(used + guess);
    va_list attempt;
    va_copy(attempt, args);
    int written = vsnprintf(data + used, capacity - used, format, attempt);
    va_end(attempt);
    if (written >= 0 && written < capacity - used) return;
    data[used] = 0;
    // Not for want of room: the format or what it converts is wrong.
    if (written < 0 && (errno == EILSEQ || errno == EINVAL)) return;
    guess = written >= 0 ? int64_t{written} + 1 : guess * 2;
  }
}

void DString::appendRepeat(unsigned codePoint, int count) {
  char encoded[4];
  int bytes = encodeUtf8Char(codePoint, encoded);
  if (count <= 0) return;
  int used = length();
  enlarge(int64_t{count} * bytes + used + 1);
  char* out = data + used;
  for (int i = 0; i < count; i++) out = std::copy_n(encoded, bytes, out);
  *out = 0;
}

void DString::replace(int start, int end, const char* text, int length) {
  int used = strLen(data);
  if (start < 0 || start > end || end > used) return;
  String inserted(text ? text : "", length);  // `text` may lie in this string
  int bytes = inserted.length();
  enlarge(int64_t{used} - (end - start) + bytes + 1);
  memmove(data + start + bytes, data + end, used - end + 1);
  memcpy(data + start, inserted.get(), bytes);
}

void DString::replaceAll(const char* needle, const char* replacement) {
  int findLen = strLen(needle);
  PLAT_ASSERT(findLen);
  const char* found = strstr(orEmpty(), needle);
  if (!found) return;
  int replacementLength = strLen(replacement);
  DString result;
  result.reserve(capacity);
  int at = 0;
  const char* rest = data;
  for (; found; found = strstr(rest, needle)) {
    at = result.writeAt(at, rest, static_cast<int>(found - rest));
    if (replacement) at = result.writeAt(at, replacement, replacementLength);
    rest = found + findLen;
  }
  result.writeAt(at, rest, strLen(rest));
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
  DString result;
  result.reserve(capacity);
  int at = 0;
  int64_t column = 0;
  bool lineIsEmpty = true;
  for (const char* p = data; *p;) {
    if (*p == '\n') {
      at = result.writeAt(at, p++, 1);
      column = 0;
      lineIsEmpty = true;
      continue;
    }
    int blanks = static_cast<int>(strspn(p, " "));
    const char* word = p + blanks;
    int wordLength = static_cast<int>(strcspn(word, " \n"));
    int wordWidth = utf8DisplayWidth(word, word + wordLength);
    if (lineIsEmpty || column + blanks + wordWidth <= width) {
      at = result.writeAt(at, p, blanks + wordLength);
      column += blanks + wordWidth;
    } else if (wordLength > 0) {
      at = result.writeAt(at, lineBreak.get(), lineBreak.length());
      at = result.writeAt(at, word, wordLength);
      column = std::max(indent, 0) + wordWidth;
    }
    lineIsEmpty = false;
    p = word + wordLength;
  }
  *this = std::move(result);
}

}  // namespace plat
