#include "base/plat/utf8.h"

#include <wchar.h>

#include <algorithm>
#include <bit>

#include "base/plat/ConfigParameter.h"
#include "base/plat/DString.h"
#include "base/plat/Exception.h"

namespace plat {

static BoolParameter badUtf8Assert("_BadUtf8Assert",
                                   "Make bad UTF-8 cause an assertion failure for debugging", false,
                                   true);

namespace {

constexpr char replacementCharacter[] = "\xEF\xBF\xBD";

bool isNonCharacter(int value) {
  return (value >= 0xfdd0 && value <= 0xfdef) || (value & 0xfffe) == 0xfffe;
}

int encodedLength(int value) {
  if (value < 0x80) return 1;
  if (value < 0x800) return 2;
  return value < 0x10000 ? 3 : 4;
}

// Precondition: the cursor is not at the end. -1 for an invalid sequence.
int nextChar(const char** cursor, const char* end) {
  int available = end ? static_cast<int>(std::min<ptrdiff_t>(end - *cursor, 4)) : 4;
  unsigned char first = *(*cursor)++;
  return first < 0x80 ? first : decodeUtf8Char(first, cursor, available);
}

String finish(DString& out, int* outLength) {
  if (outLength) *outLength = out.length();
  return out.release();
}

}  // namespace

bool isUtf8Continuation(char byte) {
  return (byte & 0xc0) == 0x80;
}

int utf8SequenceLength(unsigned char first) {
  int ones = std::countl_one(first);
  return ones >= 2 && ones <= 4 ? ones : 1;
}

int decodeUtf8Char(unsigned char first, const char** cursor, int available) {
  int length = utf8SequenceLength(first);
  if (length == 1) return -1;
  int value = first & 0x7f >> length;
  for (int i = 1; i < length; i++) {
    // A cut-off sequence takes its bytes along, as it does before a NUL.
    if (i >= available || !isUtf8Continuation(**cursor)) return -1;
    value = value << 6 | (*(*cursor)++ & 0x3f);
  }
  if (value >= 0x110000 || (value >= 0xd800 && value <= 0xdfff) || isNonCharacter(value) ||
      encodedLength(value) != length) {
    return -1;
  }
  return value;
}

int encodeUtf8Char(unsigned codePoint, char* out) {
  if (codePoint >= 0x110000) throw Exception("Unicode out of range");
  int length = encodedLength(static_cast<int>(codePoint));
  if (length == 1) {
    out[0] = static_cast<char>(codePoint);
    return 1;
  }
  for (int i = length - 1; i > 0; i--) {
    out[i] = static_cast<char>(0x80 | (codePoint & 0x3f));
    codePoint >>= 6;
  }
  unsigned leadBits = 0xf00u >> length & 0xff;
  out[0] = static_cast<char>(leadBits | codePoint);
  return length;
}

bool isValidUtf8(const char* begin, const char* end) {
  for (const char* p = begin; p != end && *p;) {
    if (nextChar(&p, end) < 0) return false;
  }
  return true;
}

String fixUtf8(const char* begin, const char* end, int maxBytes) {
  if (!begin) return String();
  DString out("");
  for (const char* p = begin; p != end && *p;) {
    const char* bytes = p;
    int value = nextChar(&p, end);
    int count = static_cast<int>(p - bytes);
    if (value < 0) {
      bytes = replacementCharacter;
      count = 3;
    }
    if (maxBytes >= 0 && count > maxBytes - out.length()) break;
    out.appendBytes(bytes, count);
  }
  return out.release();
}

String utf8ToLatin1(const char* text, int length, int* outLength) {
  DString out;
  if (!text) return finish(out, outLength);
  out.reserve(1);
  const char* end = text + (length < 0 ? strLen(text) : length);
  for (const char* p = text; p != end;) {
    int value = nextChar(&p, end);
    if (value == 0x20ac) value = 0x80;
    const char byte = value >= 0 && value < 256 ? static_cast<char>(value) : '?';
    out.appendBytes(&byte, 1);
  }
  return finish(out, outLength);
}

String latin1ToUtf8(const char* text, int length, int* outLength) {
  DString out;
  if (!text) return finish(out, outLength);
  out.reserve(1);
  const char* end = text + (length < 0 ? strLen(text) : length);
  for (const char* p = text; p != end; p++) {
    unsigned char byte = *p;
    char encoded[4];
    out.appendBytes(encoded, encodeUtf8Char(byte == 0x80 ? 0x20ac : byte, encoded));
  }
  return finish(out, outLength);
}

int utf8DisplayWidth(const char* begin, const char* end) {
  int width = 0;
  for (const char* p = begin; p != end && *p;) {
    int value = nextChar(&p, end);
    if (value < 0) break;
    int columns = wcwidth(static_cast<wchar_t>(value));
    width += columns < 0 ? 1 : columns;
  }
  return width;
}

int utf8ClampRange(const char* text, int* start, int* length) {
  int textLength = strLen(text);
  int first = std::clamp(*start, 0, textLength);
  int last = *length < 0 || *length > textLength - first ? textLength : first + *length;
  while (first < textLength && isUtf8Continuation(text[first])) first++;
  while (last > first && last < textLength && isUtf8Continuation(text[last])) last--;
  *start = first;
  *length = std::max(last - first, 0);
  return textLength;
}

String escapeUtf8(const char* text, char escapeChar) {
  if (!text) return String();
  DString out("");
  for (const char* p = text; *p;) {
    const char* bytes = p;
    int value = nextChar(&p, nullptr);
    if (value < 0) {
      // All of them are 0x80 or more.
      for (; bytes != p; bytes++) {
        char low = *bytes & 0x7f;
        bool printable = low > 0x20 && low < 0x7f;
        const char escaped[] = {escapeChar, 'M', printable ? '-' : '^',
                                printable ? low : static_cast<char>(low ^ 0x40)};
        out.appendBytes(escaped, sizeof escaped);
      }
    } else if (*bytes == escapeChar) {
      const char doubled[] = {escapeChar, escapeChar};
      out.appendBytes(doubled, sizeof doubled);
    } else if (value < 0x20 || value == 0x7f) {
      const char escaped[] = {escapeChar, '^', static_cast<char>(value ^ 0x40)};
      out.appendBytes(escaped, sizeof escaped);
    } else {
      out.appendBytes(bytes, static_cast<int>(p - bytes));
    }
  }
  return out.release();
}

}  // namespace plat
