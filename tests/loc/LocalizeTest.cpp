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
using test::textOf;
using test::UsingLocale;
using testing::ExitedWithCode;

TEST(Localize, textsFollowTheParameterAndFallBackToEnglish) {
  Localize::instance().addTranslation("en", "test_only_english", "only English");
  {
    UsingLocale german("de_DE");
    EXPECT_EQ(textOf("plat_usage_label"), "Verwendung:");
    EXPECT_EQ(textOf("test_only_english"), "only English");
  }
  UsingLocale unknown("xx:pt_PT");
  EXPECT_EQ(textOf("loc_time_tomorrow"), "amanhã");
  // The form of the region, the text of "pt".
  EXPECT_STREQ(Localize::instance().localizePlural("loc_period_hour", 0, nullptr, 0).get(),
               "%D horas");
}

TEST(Localize, anyErrorEndsTheProcessOnDemand) {
  EXPECT_EXIT(
      {
        loc::setAbortOnError(true);
        Localize::instance().localize("test_gone", "file.cpp", 7, true);
      },
      testing::KilledBySignal(SIGABRT),
      "^Missing translation for \"test_gone\" \\(file.cpp:7\\)\nAborting\n$");
}

TEST(Localize, resourcesAndDirectoriesReplaceWhatComesBefore) {
  static const char resource[] =
      "msgid \"plat_usage_label\"\nmsgstr \"resource\"\n\n"
      "msgid \"test_source\"\nmsgstr \"resource\"\n\n";
  EXPECT_EXIT(
      {
        {
          test::ScratchFolder first;
          test::ScratchFolder second;
          test::writeFile(first / "strings.fo.po", "msgid \"test_source\"\nmsgstr \"first\"\n");
          test::writeFile(second / "strings.fo_FO.po",
                          "msgid \"test_source\"\nmsgstr \"second\"\n");
          plat::registerResource("strings.fo.po", resource, sizeof resource - 1);
          Localize::instance().addDirectory(first.path().c_str());
          UsingLocale faroese("fo");
          CHILD_CHECK(textOf("plat_usage_label") == "resource");
          CHILD_CHECK(textOf("test_source") == "first");
          // Used to be missed by the map of a thread.
          auto threadMap = Localize::instance().createThreadMap("fo");
          CHILD_CHECK(textOf("test_source") == "first");
          Localize::instance().addDirectory(second.path().c_str());
          CHILD_CHECK(textOf("test_source") == "second");
          threadMap.reset();
          CHILD_CHECK(textOf("test_source") == "second");
        }
        _exit(0);
      },
      ExitedWithCode(0), "");
}

TEST(Localize, threadMapsNestAndConcernTheirThreadOnly) {
  UsingLocale german("de");
  auto french = Localize::instance().createThreadMap("fr");
  {
    auto spanish = Localize::instance().createThreadMap("es");
    EXPECT_EQ(textOf("loc_time_tomorrow"), "mañana");
    std::thread([] { EXPECT_EQ(textOf("loc_time_tomorrow"), "morgen"); }).join();
  }
  EXPECT_EQ(textOf("loc_time_tomorrow"), "demain");
  french.reset();
  EXPECT_EQ(textOf("loc_time_tomorrow"), "morgen");
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
        for (const char* locale : {"de", "es"}) {
          UsingLocale chosen(locale);
          CHILD_CHECK(getenv("LANGUAGE") ==
                      (*locale == 'd' ? "de_DE:fr" : std::string("es_ES:fr")));
        }
        CHILD_CHECK(textOf("loc_time_yesterday") == "hier");
        _exit(0);
      },
      ExitedWithCode(0), "");
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
            (std::vector<std::string>{
                "30 Localize setting locale C.UTF-8", "30 Localize setting locale C.utf8",
                "30 Localize No OS support for locale \"xx_YY.UTF-8@none\"",
                "30 Localize restoring locale", "30 Localize restoring locale"}));
}
