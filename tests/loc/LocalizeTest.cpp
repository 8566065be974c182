#include "base/loc/Localize.h"

#include <gtest/gtest.h>

#include <clocale>
#include <regex>
#include <set>
#include <thread>

#include "base/loc/LString.h"
#include "base/loc/LocaleSetter.h"
#include "base/loc/PluralId.h"
#include "base/loc/Util.h"
#include "base/loc/catalogue.h"
#include "base/loc/loadPo.h"
#include "base/loc/report.h"
#include "base/plat/builtInResource.h"
#include "base/plat/utf8.h"
#include "tests/loc/texts.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/childProcess.h"

using namespace test;

static loc::Localize& localize = loc::Localize::instance();

static std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line.substr(line.find("Localize") + 9) + "\n";
  return text;
}

TEST(Util, regionOfTheFirstAndTheLastLanguage) {
  EXPECT_TRUE(loc::completeLocale("af", nullptr) == "af_ZA" &&
              loc::completeLocale("zh", "") == "zh_CN");
}

TEST(PluralId, formDependsOnLanguageRegionAndCount) {
  std::string forms;
  for (const char* locale : {"fr_CA", "pt-BR", "pt.UTF-8", "pt_PT", "french", "de_BR", "", "ja",
                             "ko", "vi_VN", "zh_TW"}) {
    for (int count : {0, 1, 2}) forms += loc::pluralId(locale, count)[0];
  }
  EXPECT_EQ(forms, "ssmssmssmmsmmsmmsmmsmmmmmmmmmmmmm");
}

TEST(catalogue, everyKeyIsThereOnceWithTheDirectivesOfTheEnglishText) {
  const auto directives = [](const std::string& text) {
    static const std::regex directive("%[0-9$+.]*.");
    std::sregex_token_iterator found(text.begin(), text.end(), directive), end;
    return std::multiset<std::string>(found, end);
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
  for (const char* locale : {"long", "folder", "empty", "none", "/../strings.empty"})
    loc::loadStringsFile(folder.path().c_str(), locale, map);
  std::string log = joined(captured.lines);
  for (size_t at; (at = log.find(folder.path())) != log.npos;) log.erase(at, folder.path().size());
  EXPECT_EQ(log,
            "Error loading strings from /strings.long.po: String exceeds maximum length\n"
            "Error loading strings from /strings.folder.po: reading from file failed: Is a "
            "directory (21)\nLoaded strings from /strings.empty.po\n");
  map.setLocales({plat::String("long")});
  EXPECT_NE(map.find("a"), nullptr);
}

TEST(Localize, errorsAreReportedAndTheKeyServes) {
  CapturedLog captured("Localize:captured:0");
  localize.addTranslation("en", "test_bad", "\xff");
  localize.addTranslation("en", "test_text", "%S");
  EXPECT_STREQ(loc::LString("test_bad", "f.cpp", 8).get(), "test_bad");
  EXPECT_EQ(localize.localizePlural("test_bad", 1, nullptr, 9), "test_bad");
  EXPECT_STREQ(loc::LString("test_text", {7}, "f.cpp", 9).get(), "%%S");
  EXPECT_EQ(loc::LString("test_text", {"x"}).get() + textOf("test_text"), "x%S");
  localize.localizePlural("loc_period_day", 1, nullptr, 0);
  EXPECT_EQ(textOf("loc_period_day_sing"), "%D day");
  EXPECT_EQ(joined(captured.lines),
            "Bad UTF-8 in test_bad\n"
            "Missing translation for \"test_bad\" (f.cpp:8)\n"
            "Missing plural translation for \"test_bad\"\n"
            "Bad loc string for args - %S (f.cpp:9)\n"
            "Can't use same string as both raw and formatted - test_text\n"
            "Can't use same string as both raw and formatted - loc_period_day_sing\n");
  EXPECT_EXIT((loc::setAbortOnError(true), loc::reportError("f.cpp", 7, "bad %d", 1)),
              testing::KilledBySignal(SIGABRT),
              "^bad 1 \\(f.cpp:7\\)\nAborting\n" ABORT_REMARK "$");
}

TEST(Localize, textsFollowTheParameterAndFallBack) {
  localize.addTranslation("de_AT", "test_austrian", "AT");
  const std::tuple<const char*, int, const char*> rows[] = {
      {"pt_PT", 0, "%D horas"},   {"pt", 0, "%D hora"}, {"xx:fr", 0, "%D heure"},
      {"de_AT", 2, "%D Stunden"}, {"xx", 1, "%D hour"}, {"ja:de", 1, "%D Stunde"}};
  for (const auto& [locales, count, text] : rows) {
    UsingLocale chosen(locales);
    EXPECT_STREQ(localize.localizePlural("loc_period_hour", count, nullptr, 0).get(), text);
  }
  CapturedLog captured("Localize:captured:30");
  UsingLocale chosen("pt_PT:fr");
  localize.updateLocales();
  EXPECT_EQ(textOf("plat_usage_label"), "Uso:");
  // Thread maps form a stack.
  auto spanish = localize.createThreadMap("es"), french = localize.createThreadMap("fr");
  EXPECT_EQ(textOf("loc_time_tomorrow"), "demain");
  EXPECT_DEATH(spanish.reset(), "thrInst == this");
  french.reset();
  std::thread([] { EXPECT_EQ(textOf("loc_time_tomorrow"), "amanhã"); }).join();
  EXPECT_EQ(textOf("loc_time_tomorrow"), "mañana");
  EXPECT_EQ(joined(captured.lines),
            "Locales pt_PT:fr_FR:en_US\n"
            "Updating process TransMap with locales: pt_PT pt fr_FR fr en_US en\n"
            "Updating thread TransMap with locales: es_ES es en_US en\n"
            "Updating thread TransMap with locales: fr_FR fr en_US en\n");
}

TEST(Localize, resourcesAndDirectoriesReplaceWhatComesBefore) {
  const auto scenario = [] {
    static const char resource[] =
        "msgid \"plat_usage_label\"\nmsgstr \"r \"\n\nmsgid \"test_source\"\nmsgstr \"r \"\n";
    test::ScratchFolder first, second;
    test::writeFile(first / "strings.fo.po", "msgid \"test_source\"\nmsgstr \"1st \"\n");
    test::writeFile(second / "strings.fo_FO.po", "msgid \"test_source\"\nmsgstr \"2nd \"\n");
    plat::registerResource("strings.fo.po", resource, sizeof resource - 1);
    plat::registerResource("strings.fo_FO.po", "", 0);
    localize.addDirectory(first.path().c_str());
    UsingLocale faroese("fo:xx");
    CapturedLog captured("Localize:captured:30");
    // Used to be missed by the map of a thread.
    auto threadMap = localize.createThreadMap("fo");
    std::string texts = joined(captured.lines) + textOf("plat_usage_label") + textOf("test_source");
    localize.addDirectory(second.path().c_str());
    texts += textOf("test_source");
    threadMap.reset();
    fputs((texts + textOf("test_source")).c_str(), stderr);
    return 0;
  };
  EXPECT_EXIT(_exit(scenario()), testing::ExitedWithCode(0),
              "^Updating .*\nLoaded strings from built-in resource strings.fo.po\n"
              "Loaded strings from /tmp/[^/]*/strings.fo.po\nr 1st 2nd 2nd $");
}

TEST(Localize, environmentCountsWithoutTheParameter) {
  const auto scenario = [] {
    // The one locale that every system has, by another name.
    test::ScratchFolder locales;
    std::filesystem::create_symlink("/usr/lib/locale/C.utf8", locales / "de_AT.utf8");
    setenv("LOCPATH", locales.path().c_str(), 1);
    setenv("LC_ALL", "de_AT.UTF-8", 1);
    CapturedLog captured("Localize:captured:30");
    for (const char* language : {":es:de:", "", "ja"}) {
      setenv("LANGUAGE", language, 1);
      localize.updateLocales();
      setenv("LC_ALL", "C", 1);  // is asked once
    }
    // The same choice for child libraries, and only one entry of our own.
    for (bool exports : {false, true, true}) {
      localize.setExportLanguage(exports);
      UsingLocale chosen("fr");
      fprintf(stderr, "%s ", getenv("LANGUAGE"));
    }
    unsetenv("LANGUAGE");
    localize.updateLocales();
    const std::string log = joined(captured.lines), rest = "Updating.*\n|Locales |:en_US";
    fprintf(stderr, "%s%s %s", getenv("LANGUAGE"), setlocale(LC_ALL, nullptr),
            std::regex_replace(log, std::regex(rest), "").c_str());
    return 0;
  };
  EXPECT_EXIT(_exit(scenario()), testing::ExitedWithCode(0),
              "^ja fr_FR:ja fr_FR:ja de_ATC es_ES:de_AT\nde_AT\nja_JP\nfr_FR\nja_JP\nfr_FR\nja_JP"
              "\nfr_FR\nja_JP\nde_AT\n$");
}

TEST(LocaleSetter, setsASpellingThatTheSystemKnowsAndRestores) {
  const std::string before = setlocale(LC_ALL, nullptr);
  CapturedLog captured("Localize:captured:30");
  {
    const loc::LocaleSetter outer("C"), inner("C.utf8"), unknown("xx_YY.UTF-8@none"), none(nullptr);
    EXPECT_STREQ(setlocale(LC_CTYPE, nullptr), "C.utf8");
    EXPECT_TRUE(inner.isSet() && !unknown.isSet());
  }
  EXPECT_EQ(setlocale(LC_ALL, nullptr), before);
  EXPECT_EQ(joined(captured.lines),
            "setting locale C.UTF-8\nsetting locale C.utf8\n"
            "No OS support for locale \"xx_YY.UTF-8@none\"\nNo OS support for locale \"\"\n"
            "restoring locale\nrestoring locale\n");
}
