#include "base/plat/cli/commandLine.h"

#include <gtest/gtest.h>

#include <string>

#include "base/plat/Configuration.h"
#include "tests/loc/texts.h"
#include "tests/support/thrownBy.h"

using namespace plat;

// Which words are taken is in fuzz/commandLine.cpp.
TEST(commandLine, wordLeftOverIsNamedInTheLanguageOfTheUser) {
  const struct {
    const char* locale;
    std::string word;
    HelpCallback help;
    const char* thrown;
  } cases[] = {{"en", "-help", [](HelpMode) {},
                "BadCmdLineArg: Bad argument '-help'.  Run with -help for usage."},
               {"en", "100%D", nullptr, "BadCmdLineArg: Bad argument '100%D'."},
               {"de", "foo", nullptr, "BadCmdLineArg: Ungültiges Argument „foo“."},
               {"en", "--level=4", nullptr, ""}};
  for (auto c : cases) {
    test::UsingLocale locale(c.locale);
    Configuration registry("Options");
    IntParameter level("Level", "d", 0, false, &registry);
    char first[] = "-Level", second[] = "3";
    char* words[] = {first, second, c.word.data(), nullptr};
    char** argv = words;
    EXPECT_EQ(fakes::thrownBy([&] { parseCommandLine(registry, argv, c.help); }), c.thrown);
    EXPECT_EQ(level.getValueStr(10), *c.thrown ? "3" : "4");
  }
}
