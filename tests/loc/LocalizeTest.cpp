#include "base/loc/Localize.h"

#include <gtest/gtest.h>

#include <clocale>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>

#include "base/loc/LocaleSetter.h"
#include "base/loc/report.h"
#include "base/plat/builtInResource.h"
#include "tests/loc/texts.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/childProcess.h"

using loc::Localize;
using test::pluralOf;
using test::textOf;
using test::UsingLocale;
using testing::ExitedWithCode;
using Lines = std::vector<std::string>;

TEST(Localize, textsFollowTheParameterAndFallBackToEnglish) {
  Localize::instance().addTranslation("en", "test_only_english", "only English");
  Localize::instance().addTranslation("en_US", "test_us", "US");
  {
    UsingLocale german("de_DE");
    EXPECT_EQ(textOf("plat_usage_label"), "Verwendung:");
    EXPECT_EQ(textOf("test_only_english"), "only English");
    EXPECT_EQ(textOf("test_us"), "US");
  }
  UsingLocale unknown("xx:pt");
  EXPECT_EQ(textOf("loc_time_tomorrow"), "amanhã");
}

TEST(Localize, changeOfTheListIsLoggedOnce) {
  textOf("plat_usage_label");
  CapturedLog captured("Localize:captured:110");
  UsingLocale locale("ja:xx");
  EXPECT_EQ(captured.take(),
            (Lines{"30 Localize Locales ja_JP:xx:en_US",
                   "30 Localize Updating process TransMap with locales: ja_JP ja xx en_US en"}));
  Localize::instance().updateLocales();
  UsingLocale same("ja_JP:xx:en");
  EXPECT_EQ(captured.take(), Lines());
}

TEST(Localize, pluralFormsFollowTheRegion) {
  const struct {
    const char* locale;
    const char* forms[3];  // for 0, 1 and 2
  } cases[] = {
      {"de", {"%D Stunden", "%D Stunde", "%D Stunden"}},
      {"fr", {"%D heure", "%D heure", "%D heures"}},
      {"pt", {"%D hora", "%D hora", "%D horas"}},
      {"pt_PT", {"%D horas", "%D hora", "%D horas"}},  // the texts of "pt"
      {"ja", {"%D hours", "%D hour", "%D hours"}},     // English in its own forms
  };
  for (const auto& test : cases) {
    UsingLocale locale(test.locale);
    for (int count = 0; count < 3; count++) {
      EXPECT_EQ(pluralOf("loc_period_hour", count), test.forms[count]) << test.locale << count;
    }
  }
  CapturedLog captured("Localize:captured:0");
  EXPECT_EQ(pluralOf("plat_usage_label", 1), "plat_usage_label");
  EXPECT_EQ(captured.lines,
            Lines{"0 Localize Missing plural translation for \"plat_usage_label\""});
}

TEST(Localize, textUsedRawAndFormattedIsReported) {
  Localize::instance().addTranslation("en", "test_mixed", "mixed");
  CapturedLog captured("Localize:captured:0");
  EXPECT_EQ(textOf("test_mixed", /*raw=*/false), "mixed");
  EXPECT_EQ(textOf("test_mixed", /*raw=*/false), "mixed");
  EXPECT_EQ(captured.take(), Lines());
  EXPECT_EQ(Localize::instance().localize("test_mixed", "user.cpp", 7, true), "mixed");
  EXPECT_EQ(captured.take(), Lines{"0 Localize Can't use same string as both raw and formatted - "
                                   "test_mixed (user.cpp:7)"});
}

TEST(Localize, addTranslationRefusesInvalidText) {
  CapturedLog captured("Localize:captured:0");
  Localize::instance().addTranslation("en", "test_invalid", "\xc3(");
  EXPECT_EQ(textOf("test_invalid"), "test_invalid");
  EXPECT_EQ(captured.take(), (Lines{"0 Localize Bad UTF-8 in test_invalid",
                                    "0 Localize Missing translation for \"test_invalid\""}));
}

TEST(Localize, resourcesAndDirectoriesReplaceWhatComesBefore) {
  static const char resource[] =
      "msgid \"plat_usage_label\"\nmsgstr \"resource\"\n\n"
      "msgid \"test_source\"\nmsgstr \"resource\"\n\n"
      "msgid \"test_resource\"\nmsgstr \"resource\"\n";
  EXPECT_EXIT(
      {
        {
          test::ScratchFolder first;
          test::ScratchFolder second;
          test::writeFile(first / "strings.fo.po", "msgid \"test_source\"\nmsgstr \"first\"\n");
          test::writeFile(second / "strings.fo_FO.po",
                          "msgid \"test_source\"\nmsgstr \"second\"\n");
          plat::registerResource("strings.fo.po", "", 0);
          plat::registerResource("strings.fo.po", resource, sizeof resource - 1);
          plat::registerResource("strings.en.po", resource, 0);
          CapturedLog captured("Localize:captured:30");
          Localize::instance().addDirectory(first.path().c_str());
          CHILD_CHECK(captured.take().empty());  // nothing is read before it is asked for
          UsingLocale faroese("fo");
          CHILD_CHECK(
              captured.take() ==
              (Lines{"30 Localize Locales fo_FO:en_US",
                     "30 Localize Updating process TransMap with locales: fo_FO fo en_US en",
                     "30 Localize Loaded strings from built-in resource strings.fo.po",
                     "30 Localize Loaded strings from " + first / "strings.fo.po"}));
          CHILD_CHECK(textOf("plat_usage_label") == "resource");
          CHILD_CHECK(textOf("test_resource") == "resource");
          CHILD_CHECK(textOf("test_source") == "first");
          Localize::instance().addDirectory(second.path().c_str());
          CHILD_CHECK(textOf("test_source") == "second");
          // Read once: what was there stays when the list comes back.
          { UsingLocale german("de"); }
          captured.take();
          UsingLocale again("fo");
          for (const std::string& line : captured.take()) {
            CHILD_CHECK(line.find("Loaded") == std::string::npos);
          }
        }
        _exit(0);
      },
      ExitedWithCode(0), "");
  EXPECT_EQ(plat::getResource("strings.none.po").data, nullptr);
}

TEST(Localize, languageOfTheEnvironmentCountsWithoutTheParameter) {
  EXPECT_EXIT(
      {
        setenv("LC_ALL", "C.UTF-8", 1);
        setenv("LANGUAGE", ":es:", 1);
        CHILD_CHECK(textOf("loc_time_yesterday") == "ayer");
        unsetenv("LANGUAGE");
        Localize::instance().updateLocales();
        CHILD_CHECK(textOf("loc_time_yesterday") == "yesterday");
        // The same choice for child libraries, and only one entry of our own.
        setenv("LANGUAGE", "fr", 1);
        Localize::instance().setExportLanguage(true);
        {
          UsingLocale german("de");
          CHILD_CHECK(std::string(getenv("LANGUAGE")) == "de_DE:fr");
          UsingLocale spanish("es");
          CHILD_CHECK(std::string(getenv("LANGUAGE")) == "es_ES:fr");
        }
        CHILD_CHECK(textOf("loc_time_yesterday") == "hier");
        CHILD_CHECK(std::string(getenv("LANGUAGE")) == "fr_FR:fr");
        _exit(0);
      },
      ExitedWithCode(0), "");
}

TEST(Localize, threadMapsNestAndConcernTheirThreadOnly) {
  UsingLocale german("de");
  Localize& localize = Localize::instance();
  auto french = localize.createThreadMap("fr");
  EXPECT_EQ(textOf("loc_time_tomorrow"), "demain");
  {
    CapturedLog captured("Localize:captured:30");
    auto spanish = localize.createThreadMap("es");
    EXPECT_EQ(captured.take(),
              Lines{"30 Localize Updating thread TransMap with locales: es_ES es en_US en"});
    EXPECT_EQ(textOf("loc_time_tomorrow"), "mañana");
    std::thread([] { EXPECT_EQ(textOf("loc_time_tomorrow"), "morgen"); }).join();
  }
  EXPECT_EQ(textOf("loc_time_tomorrow"), "demain");
  french.reset();
  EXPECT_EQ(textOf("loc_time_tomorrow"), "morgen");
}

TEST(Localize, threadMapsEndInTheReverseOrder) {
  EXPECT_DEATH(
      {
        auto outer = Localize::instance().createThreadMap("fr");
        auto inner = Localize::instance().createThreadMap("es");
        outer.reset();
      },
      "Assertion 'thrInst == this' failed");
}

TEST(Localize, errorsEndTheProcessOnRequest) {
  EXPECT_EXIT(
      {
        loc::setAbortOnError(true);
        Localize::instance().localize("no_such_key", "user.cpp", 7, true);
      },
      testing::KilledBySignal(SIGABRT),
      "Missing translation for \"no_such_key\" \\(user.cpp:7\\)\nAborting\n");
}

TEST(Localize, lookupsAndChangesFromSeveralThreads) {
  std::vector<std::thread> threads;
  for (const char* locales : {"fr", "es", "pt"}) {
    threads.emplace_back([locales] {
      for (int i = 0; i < 200; i++) {
        auto map = Localize::instance().createThreadMap(locales);
        EXPECT_NE(textOf("loc_time_tomorrow"), "loc_time_tomorrow");
        map.reset();
        EXPECT_EQ(pluralOf("loc_period_day", i).substr(0, 3), "%D ");
      }
    });
  }
  for (int i = 0; i < 200; i++) UsingLocale locale(i % 2 ? "de" : "es");
  for (std::thread& thread : threads) thread.join();
}

TEST(LocaleSetter, setsASpellingThatTheSystemKnowsAndRestores) {
  const std::string before = setlocale(LC_ALL, nullptr);
  CapturedLog captured("Localize:captured:30");
  {
    loc::LocaleSetter outer("C");
    EXPECT_STREQ(setlocale(LC_CTYPE, nullptr), "C.UTF-8");
    loc::LocaleSetter inner("C.utf8");
    EXPECT_STREQ(setlocale(LC_CTYPE, nullptr), "C.utf8");
    loc::LocaleSetter unknown("xx_YY.UTF-8@none");
    EXPECT_FALSE(unknown.isSet());
  }
  EXPECT_EQ(setlocale(LC_ALL, nullptr), before);
  EXPECT_EQ(captured.take(),
            (Lines{"30 Localize setting locale C.UTF-8", "30 Localize setting locale C.utf8",
                   "30 Localize No OS support for locale \"xx_YY.UTF-8@none\"",
                   "30 Localize restoring locale", "30 Localize restoring locale"}));
}
