#include "base/loc/Util.h"

#include <gtest/gtest.h>

#include <string>

#include "base/loc/PluralId.h"

namespace {

std::string joined(const std::vector<plat::String>& list) {
  std::string text;
  for (const plat::String& entry : list)
    text += (text.empty() ? "" : " ") + std::string(entry.get());
  return text;
}

}  // namespace

TEST(Util, completeLocaleTakesTheRegionFromEntryPrimaryOrLanguage) {
  const struct {
    const char* entry;
    const char* primary;
    const char* complete;
  } cases[] = {
      {"de", nullptr, "de_DE"}, {"de", "de_CH.UTF-8@euro", "de_CH"},
      {"de", "fr_CH", "de_DE"}, {"sr_ME.UTF-8@latin", nullptr, "sr_ME"},
      {"af", nullptr, "af_ZA"},  // the first and the last of the table
      {"zh", nullptr, "zh_CN"},
  };
  for (const auto& test : cases) {
    EXPECT_STREQ(loc::completeLocale(test.entry, test.primary).get(), test.complete) << test.entry;
  }
}

TEST(Util, localeListsKeepTheFirstPlaceOfAName) {
  const struct {
    const char* entries;
    const char* expanded;
  } cases[] = {
      {"ja:xx", "ja_JP ja xx en_US en"},
      {"::de::de_DE:", "de_DE de en_US en"},
      {"en_GB:de:de_AT", "en_GB en de_DE de de_AT en_US"},
      {"_DE:-", "_DE en_US en"},  // used to look for texts of the language ""
  };
  for (const auto& test : cases) {
    std::vector<plat::String> list;
    loc::addLocales(list, test.entries, nullptr);
    EXPECT_EQ(joined(loc::expandLocales(list)), test.expanded) << test.entries;
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
  const struct {
    const char* locale;
    const char* forms;  // for 0, 1 and 2
  } cases[] = {
      {"fr_CA", "ssm"}, {"pt-BR", "ssm"}, {"pt.UTF-8", "ssm"}, {"pt_PT", "msm"},
      {"ja", "mmm"},    {"zh_TW", "mmm"}, {"french", "msm"},   {"", "msm"},
  };
  for (const auto& test : cases) {
    for (int count = 0; count <= 2; count++) {
      EXPECT_EQ(loc::pluralId(test.locale, count)[0], test.forms[count])
          << test.locale << " " << count;
    }
  }
}
