#include <algorithm>

#include "base/plat/DString.h"
#include "base/plat/utf8.h"
#include "fuzz/fuzz.h"

namespace {

int columns(const std::string& text) {
  return plat::utf8DisplayWidth(text.c_str());
}

// Goes through both texts: a break stands in the place of blanks behind which a word did not
// fit, blanks at the end of a line may go, and nothing else is changed.
void checkWrap(const std::string& text, int width, int indent) {
  plat::DString result(text.c_str());
  result.wordWrap(width, indent);
  const std::string wrapped = result.get();
  PLAT_ASSERT(static_cast<size_t>(result.length()) == wrapped.size());
  const std::string lineBreak = "\n" + std::string(static_cast<size_t>(std::max(indent, 0)), ' ');
  const bool isValid = plat::isValidUtf8(text.c_str());
  std::string line;
  const auto checkLine = [&] {
    const size_t begin = line.find_first_not_of(' '), end = line.find_last_not_of(' ') + 1;
    const bool isOneWord = !end || line.substr(begin, end - begin).find(' ') == line.npos;
    PLAT_ASSERT(isOneWord || !isValid || columns(line.substr(0, end)) <= width);
  };
  size_t to = 0;
  for (size_t from = 0; from < text.size();) {
    if (to < wrapped.size() && wrapped[to] == text[from]) {
      if (text[from] == '\n') {
        checkLine();
        line.clear();
      } else {
        line += text[from];
      }
      from++, to++;
      continue;
    }
    const size_t word = std::min(text.find_first_not_of(' ', from), text.size());
    const size_t wordEnd = std::min(text.find_first_of(" \n", word), text.size());
    const std::string more = text.substr(from, wordEnd - from);
    PLAT_ASSERT(word > from && !line.empty());
    PLAT_ASSERT(!isValid || columns(line) + columns(more) > width);
    if (wordEnd > word) {
      PLAT_ASSERT(wrapped.compare(to, lineBreak.size(), lineBreak) == 0);
      to += lineBreak.size();
      checkLine();
      line = lineBreak.substr(1);
    }
    from = word;
  }
  checkLine();
  PLAT_ASSERT(to == wrapped.size());
}

void checkReplace(const std::string& text, const std::string& needle, const std::string& by,
                  int start, int end) {
  plat::DString replaced(text.c_str());
  replaced.replace(start, end, by.c_str());
  std::string expected = text;
  if (start >= 0 && start <= end && end <= static_cast<int>(text.size())) {
    expected.replace(static_cast<size_t>(start), static_cast<size_t>(end - start), by);
  }
  PLAT_ASSERT(replaced.get() == expected);
  PLAT_ASSERT(static_cast<size_t>(replaced.length()) == expected.size());

  if (needle.empty()) return;
  plat::DString all(text.c_str());
  all.replaceAll(needle.c_str(), by.c_str());
  expected.clear();
  for (const std::string& part : fuzz::split(text, needle)) expected += part + by;
  expected.resize(expected.size() - by.size());
  PLAT_ASSERT(all.get() == expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const int width = input.number(-1, 30), indent = input.number(-1, 30);
  const int start = input.number(-1, 10), end = input.number(-1, 30);
  const std::string needle = fuzz::text(input.text(4));
  const std::string replacement = fuzz::text(input.text(40));
  const std::string text = fuzz::text(input.rest());
  checkWrap(text, width, indent);
  checkWrap(fuzz::folded(text, "ab  \n"), width, indent % 8);
  checkReplace(text, needle, replacement, start, end);
  checkReplace(fuzz::folded(text, "ab"), fuzz::folded(needle, "ab"), replacement, start, end);
  return 0;
}
