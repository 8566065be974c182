#include "base/loc/catalogues/catalogues.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "base/plat/utf8.h"

namespace {

std::map<std::string, std::string> textsOf(const loc::CompiledCatalogue& catalogue) {
  std::map<std::string, std::string> texts;
  for (const loc::CatalogueEntry& entry : catalogue.entries) {
    EXPECT_TRUE(texts.emplace(entry.key, entry.text).second) << entry.key << " twice";
  }
  return texts;
}

std::multiset<std::string> directivesOf(const std::string& text) {
  std::multiset<std::string> directives;
  for (size_t at = text.find('%'); at < text.size(); at = text.find('%', at)) {
    size_t letter = std::min(text.find_first_not_of("0123456789$+.", at + 1), text.size());
    directives.insert(text.substr(at, letter + 1 - at));
    at = letter + 1;
  }
  return directives;
}

}  // namespace

TEST(catalogues, everyLocaleHasEveryKeyWithTheDirectivesOfTheEnglishText) {
  const auto english = textsOf(loc::compiledCatalogues()[0]);
  std::set<std::string> locales;
  for (const loc::CompiledCatalogue& catalogue : loc::compiledCatalogues()) {
    SCOPED_TRACE(catalogue.locale);
    locales.insert(catalogue.locale);
    const auto texts = textsOf(catalogue);
    EXPECT_EQ(texts.size(), english.size());
    for (const auto& [key, englishText] : english) {
      SCOPED_TRACE(key);
      ASSERT_TRUE(texts.count(key));
      const std::string& text = texts.at(key);
      EXPECT_FALSE(text.empty());
      EXPECT_TRUE(plat::isValidUtf8(text.c_str()));
      EXPECT_EQ(directivesOf(text), directivesOf(englishText)) << text;
    }
  }
  EXPECT_EQ(locales, (std::set<std::string>{"de", "en", "es", "fr", "pt"}));
}
