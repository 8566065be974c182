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
      {"de", nullptr, "de_DE"},
      {"de-AT", "de_CH", "de_AT"},
      {"de", "de_CH.UTF-8@euro", "de_CH"},
      {"de", "fr_CH", "de_DE"},
      {"de", "de", "de_DE"},
      {"de_", "de_CH", "de_CH"},
      {"de.UTF-8", nullptr, "de_DE"},
      {"sr@latin", nullptr, "sr_RS"},
      {"sr_ME.UTF-8@latin", nullptr, "sr_ME"},
      {"xx", "de_CH", "xx"},
      {"af", nullptr, "af_ZA"},  // the first and the last of the table
      {"zh", nullptr, "zh_CN"},
      {"a", nullptr, "a"},
      {"zz", nullptr, "zz"},
      {"", "de_CH", ""},
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
      {"", "en_US en"},
      {"de_DE", "de_DE de en_US en"},
      {"fr", "fr_FR fr en_US en"},
      {"ja:xx", "ja_JP ja xx en_US en"},
      {"::de::de_DE:", "de_DE de en_US en"},
      {"en:de", "en_US en de_DE de"},
      {"en_GB:de:de_AT", "en_GB en de_DE de de_AT en_US"},
  };
  for (const auto& test : cases) {
    std::vector<plat::String> list;
    loc::addLocales(list, test.entries, nullptr);
    EXPECT_EQ(joined(loc::expandLocales(list)), test.expanded) << test.entries;
  }
}

TEST(Util, charSetNamesCompareWithoutCaseAndSeparators) {
  for (const char* name : {"utf8", "UTF-8", "utf_8"}) {
    EXPECT_EQ(loc::charSetFromName(name), loc::CharSet::utf8) << name;
  }
  EXPECT_EQ(loc::charSetFromName("ISO_8859-1"), loc::CharSet::latin1);
  for (const char* name : {"US-ASCII", "ISO-8859-15", "UTF-16", "", "-"}) {
    EXPECT_EQ(loc::charSetFromName(name), loc::CharSet::other) << name;
  }
  EXPECT_EQ(loc::charSetFromName(nullptr), loc::CharSet::other);
  for (const char* name : {"ASCII", "iso-ir-6", "646", "ISO646", "ANSI_X3.4", "ANSI_X3.4-1968"}) {
    EXPECT_EQ(loc::charSetFromName(name), loc::CharSet::ascii) << name;
  }
}

TEST(PluralId, formDependsOnLanguageRegionAndCount) {
  const struct {
    const char* locale;
    const char* forms;  // for 0, 1 and 2
  } cases[] = {
      {"fr", "ssm"},    {"fr_CA", "ssm"},       {"pt", "ssm"},       {"pt_BR", "ssm"},
      {"pt-BR", "ssm"}, {"pt_BR.UTF-8", "ssm"}, {"pt.UTF-8", "ssm"}, {"pt_PT", "msm"},
      {"ja", "mmm"},    {"vi_VN", "mmm"},       {"ko", "mmm"},       {"zh_TW", "mmm"},
      {"de", "msm"},    {"en_US", "msm"},       {"french", "msm"},   {"", "msm"},
  };
  for (const auto& test : cases) {
    for (int count = 0; count <= 2; count++) {
      EXPECT_EQ(loc::pluralId(test.locale, count)[0], test.forms[count])
          << test.locale << " " << count;
    }
    EXPECT_STREQ(loc::pluralId(test.locale, -1), "many");
  }
}
