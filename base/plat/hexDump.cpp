#include "base/plat/hexDump.h"

#include <algorithm>
#include <cstdio>

namespace plat {

void hexDump(const void* data, int length, const char* firstPrefix, const char* laterPrefix) {
  constexpr int perLine = 16;
  const unsigned char* bytes = static_cast<const unsigned char*>(data);
  for (int left = length; left > 0; left -= perLine) {
    int offset = length - left;
    const char* prefix = offset == 0 ? firstPrefix : laterPrefix;
    if (prefix) {
      fputs(prefix, stderr);
    } else {
      fprintf(stderr, "%04x ", offset);
    }
    const unsigned char* line = bytes + offset;
    int count = std::min(left, perLine);
    for (int i = 0; i < perLine; i++) {
      if (i < count) {
        fprintf(stderr, "%02x ", line[i]);
      } else {
        fputs("   ", stderr);
      }
      if (i % 4 == 3) fputc(' ', stderr);
    }
    for (int i = 0; i < count; i++) {
      fputc(line[i] >= 0x20 && line[i] <= 0x7e ? line[i] : '.', stderr);
    }
    fputc('\n', stderr);
  }
  fflush(stderr);
}

}  // namespace plat
