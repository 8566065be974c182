#include "base/loc/Util.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "base/loc/PluralId.h"

TEST(Util, completeLocaleTakesTheRegionFromEntryPrimaryOrLanguage) {
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"de", nullptr, "de_DE"}, {"de", "de_CH.UTF-8@euro", "de_CH"},
      {"de", "fr_CH", "de_DE"}, {"sr_ME.UTF-8@latin", nullptr, "sr_ME"},
      {"af", nullptr, "af_ZA"},  // the first and the last of the table
      {"zh", nullptr, "zh_CN"},
  };
  for (auto [entry, primary, complete] : cases) {
    EXPECT_STREQ(loc::completeLocale(entry, primary).get(), complete) << entry;
  }
}

TEST(Util, localeListsKeepTheFirstPlaceOfAName) {
  const std::pair<const char*, const char*> cases[] = {
      {"ja:xx", "ja_JP ja xx en_US en"},
      {"::de::de_DE:", "de_DE de en_US en"},
      {"en_GB:de:de_AT", "en_GB en de_DE de de_AT en_US en"},
      {"en_US", "en_US en"},
      {"en_GB:en_US", "en_GB en en_US en"},
      {"_DE:-", "_DE en_US en"},  // used to look for texts of the language ""
  };
  for (auto [entries, expanded] : cases) {
    std::vector<plat::String> list;
    loc::addLocales(list, entries, nullptr);
    std::string joined;
    for (auto& entry : loc::expandLocales(list)) joined += std::string(entry.get()) + " ";
    EXPECT_EQ(joined, std::string(expanded) + " ") << entries;
  }
}

TEST(Util, charSetNamesCompareWithoutCaseAndSeparators) {
  // ISO 8859-15 and others used to be known under one spelling only.
  const std::vector<std::vector<const char*>> sets = {
      {"UTF-8", "utf_8"},
      {"ISO_8859-1", "iso88591"},
      {"ISO-8859-15", "iso885915"},
      {"ASCII", "iso-ir-6", "646", "ISO646", "ANSI_X3.4", "ANSI_X3.4-1968"},
      {nullptr, "-"}};
  for (size_t i = 0; i < sets.size(); i++) {
    for (size_t j = 0; j < sets.size(); j++) {
      for (const char* other : sets[j]) {
        EXPECT_EQ(loc::charSetFromName(sets[i][0]) == loc::charSetFromName(other), i == j)
            << i << " " << j;
      }
    }
  }
}

TEST(PluralId, formDependsOnLanguageRegionAndCount) {
  // The forms for 0, 1 and 2.
  const std::pair<const char*, const char*> cases[] = {
      {"fr_CA", "ssm"}, {"pt-BR", "ssm"}, {"pt.UTF-8", "ssm"}, {"pt_PT", "msm"},
      {"ja", "mmm"},    {"zh_TW", "mmm"}, {"french", "msm"},   {"", "msm"},
  };
  for (auto [locale, forms] : cases) {
    for (int count = 0; count <= 2; count++) {
      EXPECT_EQ(loc::pluralId(locale, count)[0], forms[count]) << locale << " " << count;
    }
  }
}
