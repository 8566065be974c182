#include "base/loc/catalogue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>

#include "base/plat/utf8.h"
#include "tests/support/ScratchFolder.h"

namespace {

std::multiset<std::string> directivesOf(const std::string& text) {
  std::multiset<std::string> directives;
  for (size_t at = text.find('%'); at < text.size(); at = text.find('%', at)) {
    size_t letter = std::min(text.find_first_not_of("0123456789$+.", at + 1), text.size());
    directives.insert(text.substr(at, letter + 1 - at));
    at = letter + 1;
  }
  return directives;
}

std::string sources() {
  std::string text;
  for (const char* folder : {"/base", "/libs", "/apps"}) {
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(QOLT_SOURCE_DIR + std::string(folder))) {
      const std::string path = entry.path();
      if (path.ends_with(".cpp") && !path.ends_with("/catalogue.cpp")) {
        text += test::readFile(path);
      }
    }
  }
  return text;
}

}  // namespace

TEST(catalogue, everyKeyIsThereOnceWithTheDirectivesOfTheEnglishText) {
  std::set<std::string> keys;
  for (const loc::Text& text : loc::compiledTexts()) {
    EXPECT_TRUE(keys.insert(text.key).second) << text.key;
    for (const char* other :
         {text.english, text.german, text.spanish, text.french, text.portuguese}) {
      EXPECT_TRUE(*other && plat::isValidUtf8(other)) << other;
      EXPECT_EQ(directivesOf(other), directivesOf(text.english)) << other;
    }
  }
}

TEST(catalogue, everyKeyIsUsed) {
  // Sizes, rates, periods and usage texts, for the other programs on the base library.
  const std::string others[] = {"loc_byterate_",    "loc_bytesize_",
                                "loc_period_",      "loc_time_",
                                "loc_timedate_",    "loc_timezone_",
                                "plat_usage_",      "plat_configuration_option_usage_",
                                "plat_missing_",    "plat_press_return_to_continue",
                                "plat_string_too_", "plat_this_program_not_directly"};
  const std::string code = sources();
  for (const loc::Text& text : loc::compiledTexts()) {
    const std::string key = text.key;
    const bool used = code.find('"' + key + '"') != code.npos;
    const bool forOthers =
        std::any_of(std::begin(others), std::end(others),
                    [&](const std::string& start) { return key.starts_with(start); });
    EXPECT_NE(used, forOthers) << key;
  }
}
