#include "base/plat/utf8.h"

#include <wchar.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>
#include <new>

#include "base/plat/ConfigParameter.h"
#include "base/plat/Exception.h"
#include "base/plat/NonCopyable.h"

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

// Output of a conversion; may contain NULs, unlike the text of a DString.
class Output : private NonCopyable {
 public:
  explicit Output(size_t size) : data(static_cast<char*>(heapAlloc(size))), capacity(size) {}
  ~Output() { free(data); }

  size_t size() const { return length; }
  void put(char byte) { put(&byte, 1); }
  void put(const char* bytes, size_t count) {
    if (count > capacity - length) grow(length + count);
    memcpy(data + length, bytes, count);
    length += count;
  }
  String finish(int* outLength = nullptr) {
    if (length >= INT_MAX) throw std::bad_alloc();
    put('\0');
    if (outLength) *outLength = static_cast<int>(length) - 1;
    char* text = data;
    data = nullptr;
    return String::adopt(text);
  }

 private:
  void grow(size_t least) {
    size_t bigger = std::max(least, capacity + capacity / 2);
    char* block = static_cast<char*>(heapAlloc(bigger));
    memcpy(block, data, length);
    free(data);
    data = block;
    capacity = bigger;
  }

  char* data;
  size_t capacity;
  size_t length = 0;
};

bool convertsNothing(const char* text, int* outLength) {
  if (text) return false;
  if (outLength) *outLength = 0;
  return true;
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
  size_t length = end ? strnlen(begin, end - begin) : strlen(begin);
  if (maxBytes >= 0) length = std::min<size_t>(length, maxBytes);
  Output out(length + 1);
  for (const char* p = begin; p != end && *p;) {
    const char* bytes = p;
    int value = nextChar(&p, end);
    size_t count = p - bytes;
    if (value < 0) {
      bytes = replacementCharacter;
      count = 3;
    }
    if (maxBytes >= 0 && out.size() + count > static_cast<size_t>(maxBytes)) break;
    out.put(bytes, count);
  }
  return out.finish();
}

String utf8ToLatin1(const char* text, int length, int* outLength) {
  if (convertsNothing(text, outLength)) return String();
  const char* end = text + (length < 0 ? strlen(text) : static_cast<size_t>(length));
  size_t characters = 0;
  for (const char* p = text; p != end; characters++) nextChar(&p, end);
  Output out(characters + 1);
  for (const char* p = text; p != end;) {
    int value = nextChar(&p, end);
    if (value == 0x20ac) {
      out.put('\x80');
    } else {
      out.put(value >= 0 && value < 256 ? static_cast<char>(value) : '?');
    }
  }
  return out.finish(outLength);
}

String latin1ToUtf8(const char* text, int length, int* outLength) {
  if (convertsNothing(text, outLength)) return String();
  size_t bytes = length < 0 ? strlen(text) : static_cast<size_t>(length);
  Output out(bytes + bytes / 2 + 1);
  for (size_t i = 0; i < bytes; i++) {
    unsigned char byte = text[i];
    char encoded[4];
    out.put(encoded, encodeUtf8Char(byte == 0x80 ? 0x20ac : byte, encoded));
  }
  return out.finish(outLength);
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
  Output out(strlen(text) * 4 + 1);
  for (const char* p = text; *p;) {
    const char* bytes = p;
    int value = nextChar(&p, nullptr);
    if (value < 0) {
      // All of them are 0x80 or more.
      for (; bytes != p; bytes++) {
        char low = *bytes & 0x7f;
        bool printable = low > 0x20 && low < 0x7f;
        out.put(escapeChar);
        out.put('M');
        out.put(printable ? '-' : '^');
        out.put(printable ? low : static_cast<char>(low ^ 0x40));
      }
    } else if (*bytes == escapeChar) {
      out.put(escapeChar);
      out.put(escapeChar);
    } else if (value < 0x20 || value == 0x7f) {
      out.put(escapeChar);
      out.put('^');
      out.put(static_cast<char>(value ^ 0x40));
    } else {
      out.put(bytes, p - bytes);
    }
  }
  return out.finish();
}

}  // namespace plat
