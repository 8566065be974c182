#include <algorithm>
#include <regex>
#include <vector>

#include "base/loc/PluralId.h"
#include "base/loc/Util.h"
#include "fuzz/fuzz.h"

namespace {

using Names = std::vector<std::string>;

void addUnique(Names& names, const std::string& name) {
  if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end()) {
    names.push_back(name);
  }
}

// Language and region.
std::pair<std::string, std::string> parts(const std::string& name) {
  static const std::regex format("([^_.@-]*)(?:[_-]([^.@]*))?[^]*");
  std::smatch match;
  PLAT_ASSERT(std::regex_match(name, match, format));
  return {match[1], match[2]};
}

std::string complete(const std::string& entry, const std::string& primary) {
  auto [language, region] = parts(entry);
  if (region.empty() && parts(primary).first == language) region = parts(primary).second;
  if (region.empty()) return loc::completeLocale(language.c_str(), nullptr).get();
  return language + "_" + region;
}

void checkCharSet(std::string name) {
  const plat::String found = loc::charSetFromName(name.c_str());
  std::erase_if(name, [](char c) { return c == '-' || c == '_'; });
  for (char& c : name) c += c >= 'A' && c <= 'Z' ? 'a' - 'A' : 0;
  static const std::regex ascii("isoir6|646|iso646|ansix3\\.4[^]*");
  PLAT_ASSERT(found == (std::regex_match(name, ascii) ? "ascii" : name.c_str()));
}

}  // namespace

// As they come in the environment.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const std::string before = fuzz::text(input.text(20));
  const std::string primary = before.substr(0, before.find(':'));
  const std::string entries = fuzz::text(input.rest());

  Names completed, flat;
  for (size_t at = 0; at <= entries.size();) {
    const size_t end = std::min(entries.find(':', at), entries.size());
    addUnique(completed, complete(entries.substr(at, end - at), primary));
    at = end + 1;
  }
  std::vector<plat::String> list;
  loc::addLocales(list, entries.c_str(), primary.empty() ? nullptr : primary.c_str());
  PLAT_ASSERT(
      std::equal(list.begin(), list.end(), completed.begin(), completed.end(),
                 [](const plat::String& a, const std::string& b) { return a == b.c_str(); }));

  for (const std::string& name : completed) {
    const auto [language, region] = parts(name);
    addUnique(flat, name);
    if (!region.empty()) addUnique(flat, language);
  }
  // The end counts once, and only where nothing but it is behind.
  if (!flat.empty() && flat.back() == "en_US") flat.pop_back();
  if (flat.size() > 1 && flat.end()[-2] == "en_US" && flat.back() == "en")
    flat.resize(flat.size() - 2);
  flat.insert(flat.end(), {"en_US", "en"});
  const std::vector<plat::String> expanded = loc::expandLocales(list);
  PLAT_ASSERT(
      std::equal(expanded.begin(), expanded.end(), flat.begin(), flat.end(),
                 [](const plat::String& a, const std::string& b) { return a == b.c_str(); }));

  for (const plat::String& locale : expanded) loc::pluralId(locale.get(), 1);
  checkCharSet(entries.substr(0, entries.find(':')));
  return 0;
}
