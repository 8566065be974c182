#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <vector>

namespace plat {

// All text is NUL-terminated UTF-8. A null pointer is no text at all; every
// function takes it and treats it as empty unless it says otherwise. A length of
// -1 means up to the NUL.

inline const char* orEmpty(const char* text) {
  return text ? text : "";
}

// malloc that throws std::bad_alloc instead of returning null.
void* heapAlloc(size_t size);

// Owns one heap string, possibly null. Functions that make a new text return it
// as a String; release() hands over the malloc-allocated `char*`.
class String {
 public:
  String() = default;
  explicit String(const char* source, int length = -1);
  String(const String& other);
  String(String&& other) noexcept;
  String& operator=(String other) noexcept;
  ~String() { free(text); }

  static String adopt(char* text);  // malloc-allocated or null

  const char* get() const { return text; }  // null when unset
  const char* orEmpty() const { return plat::orEmpty(text); }
  char* data() { return text; }
  // A text that is equal already stays where it is: others may hold it.
  void set(const char* newText, int length = -1);
  char* release();

  bool isNull() const { return !text; }
  bool isEmpty() const { return !text || !*text; }
  int length() const;
  // Null equals null only.
  bool operator==(const char* other) const;
  bool operator==(const String& other) const { return *this == other.text; }

 private:
  char* text = nullptr;
};

// Copies at most size - 1 bytes and a NUL; returns the length of the source.
int strCopy(char* destination, const char* source, int size);
int strLen(const char* text);
// A negative maximum is no maximum.
int strNLen(const char* text, int maximum);
// New string of the first length bytes; null for null.
String strDup(const char* text, int length = -1);
// Byte order, or without regard to ASCII case; null orders before every string. < 0, 0, > 0.
int strCompare(const char* a, const char* b);
int strCompareNoCase(const char* a, const char* b);

// A null prefix or suffix always matches; a null text matches only an empty one.
bool startsWith(const char* text, const char* prefix);
bool startsWithNoCase(const char* text, const char* prefix);
bool endsWith(const char* text, const char* suffix);
bool endsWithNoCase(const char* text, const char* suffix);
// Whether the character occurs before `end` or the NUL, whichever comes first.
bool contains(const char* begin, const char* end, char character);

// Remove blanks, tabs, carriage returns and line feeds, in place.
void trimLeft(char* text);
void trimRight(char* text);
// Byte-wise, as toupper() and tolower() do.
void toUpper(String& text);
void toLower(String& text);
// Inserts the separator before each character whose index is a non-zero multiple
// of groupSize. 0: unchanged.
void insertSeparator(String& text, const char* separator, int groupSize);

// 64-bit FNV-1a over the bytes up to the NUL.
uint64_t strHash(const char* text);

// Appends a copy unless an equal entry is present (two nulls are equal).
void addUnique(std::vector<String>& list, const char* text);

// The order of a map of strings; looks up plain texts too.
template <int (*compare)(const char*, const char*)>
struct LessBy {
  using is_transparent = void;
  struct Text {
    Text(const String& owner) : text(owner.get()) {}
    Text(const char* plain) : text(plain) {}
    const char* text;
  };
  bool operator()(Text a, Text b) const { return compare(a.text, b.text) < 0; }
};
using LessString = LessBy<strCompare>;
using LessNoCase = LessBy<strCompareNoCase>;

// Ordered set of owned strings, compared byte by byte.
class StringSet {
 public:
  using const_iterator = std::set<String, LessString>::const_iterator;

  StringSet() = default;
  // Every item of the separated list, empty items too. A null list is no item.
  StringSet(const char* list, char separator);

  // Inserts a copy; false when it is already present.
  bool insert(const char* text);
  bool contains(const char* text) const;
  int size() const { return static_cast<int>(items.size()); }
  const_iterator begin() const { return items.begin(); }
  const_iterator end() const { return items.end(); }

 private:
  std::set<String, LessString> items;
};

}  // namespace plat
