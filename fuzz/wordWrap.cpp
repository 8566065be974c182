#include "base/plat/DString.h"
#include "base/plat/Splitter.h"
#include "base/plat/utf8.h"
#include "fuzz/fuzz.h"

static std::string words(const char* text) {
  plat::String copy(text);
  plat::Splitter splitter(copy.data());
  std::string joined;
  while (const char* word = splitter.nextAny(" \n", nullptr, true)) {
    joined += std::string(word) + " ";
  }
  return joined;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const int width = input.number(-1, 100);
  const int indent = input.number(-1, 30);
  const std::string needle = fuzz::text(input.text(4));
  const std::string replacement = fuzz::text(input.text(4));
  const std::string text = fuzz::text(input.rest());

  plat::DString wrapped(text.c_str());
  wrapped.wordWrap(width, indent);
  PLAT_ASSERT(words(wrapped.get()) == words(text.c_str()));
  plat::String copy(wrapped.get());
  plat::Splitter lines(copy.data());
  while (char* line = lines.next('\n')) {
    plat::trimRight(line);
    plat::trimLeft(line);
    PLAT_ASSERT(!plat::contains(line, nullptr, ' ') || !plat::isValidUtf8(line) ||
                plat::utf8DisplayWidth(line) <= width);
  }

  if (needle.empty()) return 0;
  plat::DString replaced(text.c_str());
  replaced.replaceAll(needle.c_str(), replacement.c_str());
  std::string expected = text;
  for (size_t at = 0; (at = expected.find(needle, at)) != expected.npos; at += replacement.size()) {
    expected.replace(at, needle.size(), replacement);
  }
  PLAT_ASSERT(replaced.orEmpty() == expected);
  return 0;
}
