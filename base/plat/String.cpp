#include "base/plat/String.h"

#include <cctype>
#include <climits>
#include <cstring>
#include <new>
#include <utility>

#include "base/plat/DString.h"
#include "base/plat/Splitter.h"

namespace plat {

namespace {

int toInt(size_t length) {
  return length > INT_MAX ? INT_MAX : static_cast<int>(length);
}

bool isTrimmed(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// Where the suffix would begin in the text; null when it is longer.
const char* tail(const char* text, const char* suffix) {
  size_t textLength = strlen(orEmpty(text));
  size_t suffixLength = strlen(suffix);
  return suffixLength > textLength ? nullptr : orEmpty(text) + (textLength - suffixLength);
}

}  // namespace

void* heapAlloc(size_t size) {
  void* memory = malloc(size ? size : 1);
  if (!memory) throw std::bad_alloc();
  return memory;
}

String::String(const char* source, int length) : text(strDup(source, length).release()) {}

String::String(const String& other) : String(other.text) {}

String::String(String&& other) noexcept : text(other.release()) {}

String& String::operator=(String other) noexcept {
  std::swap(text, other.text);
  return *this;
}

String String::adopt(char* text) {
  String owner;
  owner.text = text;
  return owner;
}

void String::set(const char* newText, int length) {
  String copy(newText, length);
  if (!(*this == copy)) *this = std::move(copy);
}

char* String::release() {
  return std::exchange(text, nullptr);
}

int String::length() const {
  return strLen(text);
}

bool String::operator==(const char* other) const {
  return strCompare(text, other) == 0;
}

int strCopy(char* destination, const char* source, int size) {
  int length = strLen(source);
  if (size > 0) {
    int copied = length < size ? length : size - 1;
    memcpy(destination, orEmpty(source), copied);
    destination[copied] = 0;
  }
  return length;
}

int strLen(const char* text) {
  return text ? toInt(strlen(text)) : 0;
}

int strNLen(const char* text, int maximum) {
  if (maximum < 0) return strLen(text);
  return text ? static_cast<int>(strnlen(text, maximum)) : 0;
}

String strDup(const char* text, int length) {
  if (!text) return String();
  size_t bytes = strNLen(text, length);
  char* copy = static_cast<char*>(heapAlloc(bytes + 1));
  memcpy(copy, text, bytes);
  copy[bytes] = 0;
  return String::adopt(copy);
}

int strCompare(const char* a, const char* b) {
  if (!a || !b) return (a ? 1 : 0) - (b ? 1 : 0);
  return strcmp(a, b);
}

int strCompareNoCase(const char* a, const char* b) {
  if (!a || !b) return (a ? 1 : 0) - (b ? 1 : 0);
  return strcasecmp(a, b);
}

bool startsWith(const char* text, const char* prefix) {
  return !prefix || strncmp(orEmpty(text), prefix, strlen(prefix)) == 0;
}

bool startsWithNoCase(const char* text, const char* prefix) {
  return !prefix || strncasecmp(orEmpty(text), prefix, strlen(prefix)) == 0;
}

bool endsWith(const char* text, const char* suffix) {
  if (!suffix) return true;
  const char* end = tail(text, suffix);
  return end && strncmp(end, suffix, strlen(suffix)) == 0;
}

bool endsWithNoCase(const char* text, const char* suffix) {
  if (!suffix) return true;
  const char* end = tail(text, suffix);
  return end && strncasecmp(end, suffix, strlen(suffix)) == 0;
}

bool contains(const char* begin, const char* end, char character) {
  if (!begin) return false;
  for (const char* p = begin; p != end && *p; p++) {
    if (*p == character) return true;
  }
  return false;
}

void trimLeft(char* text) {
  if (!text) return;
  const char* start = text;
  while (isTrimmed(*start)) start++;
  memmove(text, start, strlen(start) + 1);
}

void trimRight(char* text) {
  if (!text) return;
  size_t length = strlen(text);
  while (length > 0 && isTrimmed(text[length - 1])) length--;
  text[length] = 0;
}

void toUpper(String& text) {
  for (char* p = text.data(); p && *p; p++) *p = toupper(static_cast<unsigned char>(*p));
}

void toLower(String& text) {
  for (char* p = text.data(); p && *p; p++) *p = tolower(static_cast<unsigned char>(*p));
}

void insertSeparator(String& text, const char* separator, int groupSize) {
  if (groupSize <= 0 || text.isEmpty()) return;
  DString grouped;
  const int length = text.length();
  for (int64_t at = 0; at < length; at += groupSize) {
    if (at > 0) grouped.append(separator);
    grouped.append(text.get() + at, groupSize);
  }
  text = grouped.release();
}

uint64_t strHash(const char* text) {
  uint64_t hash = 0xcbf29ce484222325;
  for (const char* p = orEmpty(text); *p; p++) {
    hash ^= static_cast<unsigned char>(*p);
    hash *= 0x100000001b3;
  }
  return hash;
}

void addUnique(std::vector<String>& list, const char* text) {
  for (const String& entry : list) {
    if (entry == text) return;
  }
  list.push_back(String(text));
}

StringSet::StringSet(const char* list, char separator) {
  String copy(list);
  Splitter splitter(copy.data());
  while (const char* item = splitter.next(separator)) insert(item);
}

bool StringSet::insert(const char* text) {
  return items.insert(String(text)).second;
}

bool StringSet::contains(const char* text) const {
  return items.find(text) != items.end();
}

}  // namespace plat
