#include "base/plat/SecureString.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/plat/String.h"

namespace plat {

namespace {

void wipeAndFree(char* text) {
  if (text) secureWipe(text, strlen(text));
  free(text);
}

}  // namespace

void secureWipe(void* data, size_t n) {
  volatile unsigned char* bytes = static_cast<volatile unsigned char*>(data);
  for (size_t i = 0; i < n; i++) bytes[i] = 0;
}

void secureCopy(void* destination, const void* source, size_t n) {
  volatile unsigned char* to = static_cast<volatile unsigned char*>(destination);
  const unsigned char* from = static_cast<const unsigned char*>(source);
  for (size_t i = 0; i < n; i++) to[i] = from[i];
}

bool secureCompare(const void* a, const void* b, size_t n) {
  const volatile unsigned char* left = static_cast<const volatile unsigned char*>(a);
  const volatile unsigned char* right = static_cast<const volatile unsigned char*>(b);
  unsigned char difference = 0;
  for (size_t i = 0; i < n; i++) difference |= left[i] ^ right[i];
  return difference == 0;
}

char* secureStrDup(const char* text, int length) {
  if (!text) return nullptr;
  size_t bytes = length < 0 ? strlen(text) : strnlen(text, length);
  char* copy = static_cast<char*>(heapAlloc(bytes + 1));
  secureCopy(copy, text, bytes);
  copy[bytes] = 0;
  return copy;
}

int secureStrCmp(const char* a, const char* b) {
  if (!a || !b) return (a ? 1 : 0) - (b ? 1 : 0);
  for (; *a && *a == *b; a++, b++) {
  }
  return static_cast<unsigned char>(*a) - static_cast<unsigned char>(*b);
}

SecureString::SecureString(SecureString&& other) noexcept
    : text(std::exchange(other.text, nullptr)) {}

SecureString& SecureString::operator=(SecureString&& other) noexcept {
  if (this != &other) replace(std::exchange(other.text, nullptr));
  return *this;
}

SecureString::~SecureString() {
  wipeAndFree(text);
}

void SecureString::assign(const char* newText, int length) {
  replace(secureStrDup(newText, length));
}

void SecureString::replace(char* newText) {
  if (newText == text) return;
  wipeAndFree(text);
  text = newText;
}

}  // namespace plat
