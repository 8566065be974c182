#include "base/loc/catalogues/catalogues.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <string>

#include "base/plat/utf8.h"
#include "tests/support/ScratchFolder.h"

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

std::string sourcesWithoutCatalogues() {
  std::string text;
  for (const char* folder : {"/base", "/libs", "/apps"}) {
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(QOLT_SOURCE_DIR + std::string(folder))) {
      const std::string path = entry.path();
      if (path.ends_with(".cpp") && path.find("/catalogues/") == path.npos) {
        text += test::readFile(path);
      }
    }
  }
  return text;
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

TEST(catalogues, everyKeyIsUsed) {
  // Sizes, rates, periods and usage texts, for the other programs on the base library.
  const std::string others[] = {"loc_byterate_",    "loc_bytesize_",
                                "loc_period_",      "loc_time_",
                                "loc_timedate_",    "loc_timezone_",
                                "plat_usage_",      "plat_configuration_option_usage_",
                                "plat_missing_",    "plat_press_return_to_continue",
                                "plat_string_too_", "plat_this_program_not_directly"};
  const std::string sources = sourcesWithoutCatalogues();
  for (const auto& [key, text] : textsOf(loc::compiledCatalogues()[0])) {
    const bool used = sources.find('"' + key + '"') != sources.npos;
    const bool forOthers =
        std::any_of(std::begin(others), std::end(others),
                    [&](const std::string& start) { return key.starts_with(start); });
    EXPECT_NE(used, forOthers) << key;
  }
}
