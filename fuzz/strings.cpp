#include <algorithm>
#include <cctype>
#include <set>

#include "base/plat/String.h"
#include "fuzz/fuzz.h"

namespace {

template <int (*convert)(int)>
std::string converted(std::string text) {
  for (char& c : text) c = static_cast<char>(convert(static_cast<unsigned char>(c)));
  return text;
}

int sign(int order) {
  return (order > 0) - (order < 0);
}

std::string listed(const std::vector<std::string>& items) {
  std::string list;
  for (const std::string& item : items) list += item + ";";
  return list;
}

void checkPair(const std::string& text, const std::string& part) {
  const char *const t = text.c_str(), *const p = part.c_str();
  const std::string lowerText = converted<tolower>(text), lowerPart = converted<tolower>(part);
  PLAT_ASSERT(plat::startsWith(t, p) == text.starts_with(part));
  PLAT_ASSERT(plat::startsWithNoCase(t, p) == lowerText.starts_with(lowerPart));
  PLAT_ASSERT(plat::endsWith(t, p) == text.ends_with(part));
  PLAT_ASSERT(plat::endsWithNoCase(t, p) == lowerText.ends_with(lowerPart));
  PLAT_ASSERT(sign(plat::strCompare(t, p)) == sign(text.compare(part)));
  PLAT_ASSERT(sign(plat::strCompareNoCase(t, p)) == sign(lowerText.compare(lowerPart)));
}

// A prefix of so many bytes, or of all.
void checkLength(const std::string& text, char character, int length) {
  const char* const t = text.c_str();
  const std::string prefix = text.substr(0, static_cast<size_t>(length));
  PLAT_ASSERT(plat::strNLen(t, length) == static_cast<int>(prefix.size()));
  PLAT_ASSERT(plat::String(t, length) == prefix.c_str());
  const bool isThere = character && prefix.find(character) != prefix.npos;
  PLAT_ASSERT(plat::contains(t, length < 0 ? nullptr : t + length, character) == isThere);

  std::string array(48, '#'), expected = array;
  if (length > 0) {
    const std::string copied = text.substr(0, static_cast<size_t>(length) - 1) + '\0';
    expected.replace(0, copied.size(), copied);
  }
  PLAT_ASSERT(plat::strCopy(array.data(), t, length) == static_cast<int>(text.size()));
  PLAT_ASSERT(array == expected);
}

void checkChanges(const std::string& text, const std::string& separator, int groupSize) {
  constexpr char blanks[] = " \t\r\n";
  const size_t begin = std::min(text.find_first_not_of(blanks), text.size());
  const size_t end = text.find_last_not_of(blanks) + 1;
  plat::String left(text.c_str()), right = left, upper = left, lower = left, grouped = left;
  plat::trimLeft(left.data());
  plat::trimRight(right.data());
  plat::toUpper(upper);
  plat::toLower(lower);
  PLAT_ASSERT(left.get() == text.substr(begin) && right.get() == text.substr(0, end));
  PLAT_ASSERT(upper.get() == converted<toupper>(text) && lower.get() == converted<tolower>(text));
  std::string expected;
  for (size_t i = 0; i < text.size(); i++) {
    if (groupSize > 0 && i > 0 && i % static_cast<size_t>(groupSize) == 0) expected += separator;
    expected += text[i];
  }
  plat::insertSeparator(grouped, separator.c_str(), groupSize);
  PLAT_ASSERT(grouped.get() == expected);
}

void checkItems(const std::string& list, const std::string& another) {
  const std::vector<std::string> items = fuzz::split(list, ",");
  const std::set<std::string> sorted(items.begin(), items.end());
  plat::StringSet set(list.c_str(), ',');
  std::vector<std::string> found, once;
  for (const plat::String& item : set) found.push_back(item.get());
  PLAT_ASSERT(listed(found) == listed({sorted.begin(), sorted.end()}));
  PLAT_ASSERT(static_cast<size_t>(set.size()) == sorted.size());
  const bool isNew = !sorted.contains(another);
  PLAT_ASSERT(set.contains(another.c_str()) == !isNew && set.insert(another.c_str()) == isNew);

  std::vector<plat::String> unique;
  for (const std::string& item : items) {
    plat::addUnique(unique, item.c_str());
    if (std::find(once.begin(), once.end(), item) == once.end()) once.push_back(item);
  }
  found.clear();
  for (const plat::String& item : unique) found.push_back(item.get());
  PLAT_ASSERT(listed(found) == listed(once));
}

void check(const std::string& text, const std::string& part, int number) {
  checkPair(text, part);
  checkPair(text, text.substr(0, text.size() / 2));
  checkPair(text, text.substr(text.size() / 2));
  checkLength(text, part.c_str()[0], number);
  checkChanges(text, part, number);
  checkItems(text, part);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const int number = input.number(-1, 8);
  const std::string part = fuzz::text(input.text(4));
  const std::string text = fuzz::text(input.rest().substr(0, 40));
  check(text, part, number);
  check(fuzz::folded(text, "aA,b"), fuzz::folded(part, "aAb"), number);
  check(fuzz::folded(text, " \t\r\na"), part, number);
  return 0;
}
