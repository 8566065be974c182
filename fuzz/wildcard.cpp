#include "base/plat/Wildcard.h"

#include <strings.h>

#include "fuzz/fuzz.h"

// By the definition: every prefix of the pattern with every prefix of the text.
static bool matches(const std::string& pattern, const std::string& text, bool caseSensitive) {
  std::vector<bool> matched(text.size() + 1);
  matched[0] = true;
  for (const char p : pattern) {
    std::vector<bool> longer(text.size() + 1);
    longer[0] = p == '*' && matched[0];
    for (size_t i = 0; i < text.size(); i++) {
      const char single[] = {p, 0}, other[] = {text[i], 0};
      const bool same = caseSensitive ? p == text[i] : strcasecmp(single, other) == 0;
      longer[i + 1] = p == '*' ? longer[i] || matched[i + 1] : matched[i] && same;
    }
    matched = longer;
  }
  return matched[text.size()];
}

static void check(const std::string& pattern, const std::string& text) {
  for (bool caseSensitive : {false, true}) {
    PLAT_ASSERT(plat::wildcardMatch(pattern.c_str(), text.c_str(), caseSensitive) ==
                matches(pattern, text, caseSensitive));
  }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const std::string pattern = fuzz::text(input.text(200));
  const std::string text = fuzz::text(input.rest().substr(0, 1000));
  check(pattern, text);
  // Few letters match often, also the star in a text.
  check(fuzz::folded(pattern, "*a"), fuzz::folded(text, "a"));
  check(fuzz::folded(pattern, "*aAb"), fuzz::folded(text, "aaab*?"));
  return 0;
}
