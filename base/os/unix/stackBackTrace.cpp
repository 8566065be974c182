#include "base/os/unix/stackBackTrace.h"

#include <execinfo.h>

#include <cstdlib>
#include <memory>

#include "base/plat/DString.h"

namespace os {

namespace {

constexpr int maxFrames = 62;

struct Free {
  void operator()(char** symbols) const { free(symbols); }
};

}  // namespace

void stackBackTrace(std::vector<char*>& lines) {
  void* frames[maxFrames];
  int count = backtrace(frames, maxFrames);
  std::unique_ptr<char*, Free> symbols(backtrace_symbols(frames, count));
  if (!symbols || count < 2) return;
  lines.reserve(lines.size() + static_cast<size_t>(count));
  for (int i = 1; i < count; i++) {
    lines.push_back(plat::strFormat("%2d %s", i, symbols.get()[i]).release());
  }
}

}  // namespace os
