#pragma once

#include <cstddef>

#include "base/plat/NonCopyable.h"

namespace plat {

// Byte by byte through volatile, so that the compiler cannot drop the writes.
void secureWipe(void* data, size_t n);
void secureCopy(void* destination, const void* source, size_t n);
// Takes the same time wherever a difference lies. True for n == 0.
bool secureCompare(const void* a, const void* b, size_t n);
// New malloc-allocated copy of the first length bytes, of all for -1; null for null. The
// caller wipes and frees it.
char* secureStrDup(const char* text, int length = -1);
// Null orders before any string; otherwise byte values. < 0, 0, > 0.
int secureStrCmp(const char* a, const char* b);

// Owns one heap string, wiped before its memory is released or replaced.
class SecureString : private NonCopyable {
 public:
  SecureString() = default;
  explicit SecureString(const char* source) { assign(source); }
  SecureString(SecureString&& other) noexcept;
  SecureString& operator=(SecureString&& other) noexcept;
  ~SecureString();

  const char* get() const { return text; }
  // As secureStrDup() copies. `newText` may lie inside the old text.
  void assign(const char* newText, int length = -1);
  // Adopts a malloc-allocated text.
  void replace(char* newText);

 private:
  char* text = nullptr;
};

}  // namespace plat
