#include "base/plat/Splitter.h"

#include <cstring>

#include "fuzz/fuzz.h"

// Cut at every separator and joined again the text is what it was; with `collapse` no
// token is empty and none holds a separator.
template <class Next>
static void check(const std::string& text, const std::string& separator, Next next) {
  plat::String copy(text.c_str());
  plat::Splitter splitter(copy.data());
  std::string joined;
  while (const char* token = next(splitter, false)) {
    if (token != copy.get()) joined += separator;
    joined += token;
  }
  PLAT_ASSERT(joined == text && !splitter.rest());

  copy.set(text.c_str());
  plat::Splitter collapsing(copy.data());
  while (const char* token = next(collapsing, true)) {
    PLAT_ASSERT(*token);
    PLAT_ASSERT(separator.empty() || !strstr(token, separator.c_str()));
  }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const std::string separators = fuzz::text(input.bytes(2));
  const std::string text = fuzz::text(input.rest());
  const char separator = separators.c_str()[0];
  check(text, separators.substr(0, 1),
        [&](plat::Splitter& from, bool collapse) { return from.next(separator, collapse); });
  check(text, separators, [&](plat::Splitter& from, bool collapse) {
    return from.nextString(separators.c_str(), collapse);
  });

  plat::String copy(text.c_str());
  plat::Splitter splitter(copy.data());
  std::string joined;
  char found = 0;
  while (const char* token = splitter.nextAny(separators.c_str(), &found)) {
    joined += token;
    if (found) joined += found;
  }
  PLAT_ASSERT(joined == text);

  copy.set(text.c_str());
  plat::Splitter backwards(copy.data());
  joined.clear();
  while (const char* token = backwards.lastSplit(separator)) {
    joined = token + (joined.empty() && token + strlen(token) == copy.get() + text.size()
                          ? std::string()
                          : separator + joined);
  }
  PLAT_ASSERT(joined == text);
  return 0;
}
