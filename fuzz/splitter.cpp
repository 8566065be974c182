#include "base/plat/Splitter.h"

#include <algorithm>

#include "fuzz/fuzz.h"

namespace {

using Tokens = std::vector<std::string>;

Tokens withoutEmptyOnes(Tokens tokens) {
  std::erase(tokens, "");
  return tokens;
}

// At every one of the separators.
Tokens splitAtAny(const std::string& text, const std::string& separators) {
  Tokens tokens(1);
  for (const char c : text) {
    if (separators.find(c) == separators.npos) {
      tokens.back() += c;
    } else {
      tokens.emplace_back();
    }
  }
  return tokens;
}

// What `next` gives, one token after the other; what is left is the rest of the text.
template <class Next>
Tokens taken(const std::string& text, Next next) {
  plat::String copy(text.c_str());
  plat::Splitter splitter(copy.data());
  Tokens tokens;
  while (const char* token = next(splitter)) {
    tokens.push_back(token);
    const char* rest = splitter.rest();
    PLAT_ASSERT(!rest || rest == copy.get() || text.ends_with(rest));
  }
  PLAT_ASSERT(!splitter.rest() && !next(splitter));
  return tokens;
}

void check(const std::string& text, const std::string& separators) {
  using plat::Splitter;
  const char* const set = separators.c_str();
  const std::string one = separators.substr(0, 1);
  const Tokens fields = splitAtAny(text, one), some = splitAtAny(text, separators);
  const Tokens strings = separators.empty() ? Tokens{text} : fuzz::split(text, separators);
  PLAT_ASSERT(taken(text, [&](Splitter& s) { return s.next(*set); }) == fields);
  PLAT_ASSERT(taken(text, [&](Splitter& s) { return s.next(*set, true); }) ==
              withoutEmptyOnes(fields));
  PLAT_ASSERT(taken(text, [&](Splitter& s) { return s.nextString(set); }) == strings);
  PLAT_ASSERT(taken(text, [&](Splitter& s) { return s.nextString(set, true); }) ==
              withoutEmptyOnes(strings));
  PLAT_ASSERT(taken(text, [&](Splitter& s) { return s.nextAny(set, nullptr, true); }) ==
              withoutEmptyOnes(some));
  std::string joined;
  char found = 'x';
  const auto nextAny = [&](Splitter& s) {
    const char* token = s.nextAny(set, &found);
    if (token) (joined += token) += found ? std::string(1, found) : "";
    PLAT_ASSERT(!found == !s.rest());
    return token;
  };
  PLAT_ASSERT(taken(text, nextAny) == some && joined == text);
  const Tokens backwards = taken(text, [&](Splitter& s) { return s.lastSplit(*set); });
  PLAT_ASSERT(Tokens(backwards.rbegin(), backwards.rend()) == fields);

  // Runs at the start.
  plat::String copy(text.c_str());
  plat::Splitter character(copy.data()), any(copy.data()), string(copy.data());
  character.skipChar(*set);
  any.skipAny(set);
  string.skipString(set);
  std::string behind = text;
  while (!separators.empty() && behind.starts_with(separators)) behind.erase(0, separators.size());
  const auto behindAny = [&](const std::string& characters) {
    return text.substr(std::min(text.find_first_not_of(characters), text.size()));
  };
  PLAT_ASSERT(character.rest() == behindAny(one));
  PLAT_ASSERT(any.rest() == behindAny(separators));
  PLAT_ASSERT(string.rest() == behind);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const std::string separators = fuzz::text(input.bytes(2));
  const std::string text = fuzz::text(input.rest());
  check(text, separators);
  check(fuzz::folded(text, "ab;"), fuzz::folded(separators, "ab"));
  return 0;
}
