#include <gtest/gtest.h>

#include <set>

#include "base/loc/PluralId.h"
#include "base/loc/TransMap.h"
#include "base/loc/Util.h"
#include "base/loc/catalogue.h"
#include "base/loc/loadPo.h"
#include "base/plat/utf8.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ScratchFolder.h"

TEST(Util, completeLocaleTakesTheRegionFromEntryPrimaryOrLanguage) {
  const auto complete = [](const char* entry, const char* primary) {
    return std::string(loc::completeLocale(entry, primary).get());
  };
  EXPECT_EQ(complete("de", "fr_CH") + complete("de", "de_CH.UTF-8@euro"), "de_DEde_CH");
  EXPECT_EQ(complete("sr-ME.UTF-8@latin", "sr_RS") + complete("de", "de"), "sr_MEde_DE");
  EXPECT_EQ(complete("af", nullptr) + complete("zh", nullptr), "af_ZAzh_CN");  // first and last
  EXPECT_EQ(complete("xx", "yy_ZZ") + complete("", nullptr) + complete("zzz.UTF-8", ""), "xxzzz");
}

TEST(Util, localeListsKeepTheFirstPlaceOfAName) {
  const std::pair<const char*, const char*> rows[] = {
      {"ja:xx", "ja_JP ja xx en_US en "},
      {"::de::de_DE:", "de_DE de en_US en "},
      {"en_US:de_AT:de", "en_US en de_AT de de_DE en_US en "},
      {"en_GB:en_US", "en_GB en en_US en "},
      {"en_US", "en_US en "},
      {"_DE:-", "_DE en_US en "}};  // used to look for texts of the language ""
  for (const auto& [entries, expanded] : rows) {
    std::vector<plat::String> list;
    loc::addLocales(list, entries, nullptr);
    std::string joined;
    for (auto& entry : loc::expandLocales(list)) joined += std::string(entry.get()) + " ";
    EXPECT_EQ(joined, expanded) << entries;
  }
}

TEST(Util, charSetNamesCompareWithoutCaseAndSeparators) {
  for (const char* name : {"ASCII", "iso-ir-6", "646", "ISO646", "ANSI_X3.4", "ANSI_X3.4-1968"}) {
    EXPECT_EQ(loc::charSetFromName(name), "ascii") << name;
  }
  EXPECT_EQ(loc::charSetFromName("ISO_8859-15"), "iso885915");
  EXPECT_EQ(loc::charSetFromName("-"), loc::charSetFromName(nullptr));
}

TEST(PluralId, formDependsOnLanguageRegionAndCount) {
  // The locales by their forms for 0, 1 and 2.
  const std::pair<const char*, std::vector<const char*>> rows[] = {
      {"ssm", {"fr_CA", "pt-BR", "pt.UTF-8"}},
      {"msm", {"pt_PT", "french", "de_BR", ""}},
      {"mmm", {"ja", "ko", "vi_VN", "zh_TW"}}};
  for (const auto& [forms, locales] : rows) {
    for (const char* locale : locales) {
      for (int i = 0; i < 3; i++) EXPECT_EQ(*loc::pluralId(locale, i), forms[i]) << locale << i;
    }
  }
}

TEST(catalogue, everyKeyIsThereOnceWithTheDirectivesOfTheEnglishText) {
  const auto directives = [](const std::string& text) {
    std::multiset<std::string> found;
    for (size_t at = text.find('%'); at < text.size(); at = text.find('%', at)) {
      const size_t letter = text.find_first_not_of("0123456789$+.", at + 1);
      found.insert(text.substr(at, letter + 1 - at));
      at = letter + 1;
    }
    return found;
  };
  std::set<std::string> keys;
  for (const auto& [key, english, german, spanish, french, portuguese] : loc::compiledTexts()) {
    EXPECT_TRUE(keys.insert(key).second) << key;
    for (const char* text : {english, german, spanish, french, portuguese}) {
      EXPECT_TRUE(*text && plat::isValidUtf8(text)) << text;
      EXPECT_EQ(directives(text), directives(english)) << text;
    }
  }
}

TEST(loadPo, failingFileKeepsWhatWasReadAndNoNameLeadsOutOfTheDirectory) {
  test::ScratchFolder folder;
  test::writeFile(folder / "strings.long.po",
                  "msgid \"a\"\nmsgstr \"1\"\n\n" + std::string(300000, 'x') + "\n");
  test::writeFile(folder / "strings.empty.po", "");
  std::filesystem::create_directory(folder / "strings.folder.po");
  std::filesystem::create_directory(folder / "strings.");  // ".." behind it exists
  CapturedLog captured("Localize:captured:30");
  loc::TransMap map(loc::TransMap::Scope::process, nullptr);
  std::string log;
  for (const char* locale : {"long", "folder", "empty", "none", "/../strings.empty"}) {
    loc::loadStringsFile(folder.path().c_str(), locale, map);
  }
  for (std::string line : captured.take()) log += line.erase(line.find("/tmp"), 21) + "\n";
  EXPECT_EQ(
      log,
      "0 Localize Error loading strings from /strings.long.po: String exceeds maximum length\n"
      "0 Localize Error loading strings from /strings.folder.po: reading from file failed: "
      "Is a directory (21)\n"
      "30 Localize Loaded strings from /strings.empty.po\n");
  map.setLocales({plat::String("long")});
  EXPECT_NE(map.find("a"), nullptr);
}
