#include "base/plat/cli/commandLine.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/plat/Configuration.h"
#include "tests/loc/texts.h"
#include "tests/support/thrownBy.h"

using namespace plat;

namespace {

struct Options {
  Configuration registry{"Options"};
  BoolParameter updates{"MiniUpdates", "d", false, false, &registry};
  IntParameter level{"ZlibLevel", "d", -1, false, &registry, -1, 9};
  StringParameter text{"Text", "d", nullptr, "", false, &registry};

  // Takes a list of words as main() gets it; returns what is left of it, "|" between.
  template <class Parse>
  std::string rest(std::vector<std::string> words, Parse parse) {
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    char** argv = pointers.data();
    parse(argv);
    std::string left;
    for (; *argv; argv++) left += (left.empty() ? "" : "|") + std::string(*argv);
    return left;
  }
};

}  // namespace

TEST(commandLine, parseArgsTakesOptionsUpToTheFirstOtherWord) {
  const int none = -1;
  const struct {
    std::vector<std::string> words;
    const char* rest;
    int level;
    const char* text;
    int help;  // the mode of the call for help
  } cases[] = {{{"--ZLIBLEVEL=3", "-ZlibLevel=10"}, "-ZlibLevel=10", 3, "", none},
               {{"---MiniUpdates"}, "---MiniUpdates", -1, "", none},
               {{"Text=a=-b", "-=1"}, "-=1", -1, "a=-b", none},
               {{"ZlibLevel=3", "-Text", "-ZlibLevel", "--miniupdates"}, "", 3, "-ZlibLevel", none},
               {{"-ZlibLevel", "x"}, "-ZlibLevel|x", -1, "", none},
               {{"-MiniUpdates", "0"}, "0", -1, "", none},
               {{"-ZlibLevel", "5", "MiniUpdates", "-help"}, "MiniUpdates|-help", 5, "", none},
               {{"-Text", "-help"}, "", -1, "-help", none},
               {{"-ZlibLevel=3", "-HELP", "all"}, "-HELP|all", 3, "", helpAll},
               {{"--Help", "xml"}, "--Help|xml", -1, "", helpXml},
               {{"-h", "ALL"}, "-h|ALL", -1, "", helpUsage},
               {{"/?"}, "/?", -1, "", helpUsage},
               {{"-?"}, "-?", -1, "", none}};
  for (const auto& given : cases) {
    SCOPED_TRACE(testing::PrintToString(given.words));
    Options options;
    int help = none;
    EXPECT_EQ(options.rest(given.words,
                           [&](char**& argv) {
                             parseArgs(options.registry, argv,
                                       [&](HelpMode called) { help = called; });
                           }),
              given.rest);
    EXPECT_EQ(options.level, given.level);
    EXPECT_EQ(options.level.getPriority(), given.level < 0 ? 0 : 10);
    EXPECT_STREQ(options.text.getValue().get(), given.text);
    EXPECT_EQ(help, given.help);
  }
}

TEST(commandLine, wordLeftOverIsNamedInTheLanguageOfTheUser) {
  const struct {
    const char* locale;
    const char* word;
    HelpCallback help;
    const char* message;
  } cases[] = {{"en", "-help", [](HelpMode) {}, "Bad argument '-help'.  Run with -help for usage."},
               {"en", "100%D", nullptr, "Bad argument '100%D'."},
               {"de", "foo", nullptr, "Ungültiges Argument „foo“."},
               {"en", "MiniUpdates=1", nullptr, nullptr}};
  for (const auto& given : cases) {
    test::UsingLocale locale(given.locale);
    Options options;
    const std::string thrown = fakes::thrownBy([&] {
      options.rest({"-ZlibLevel=3", given.word},
                   [&](char**& argv) { parseCommandLine(options.registry, argv, given.help); });
    });
    EXPECT_EQ(thrown, given.message ? std::string("BadCmdLineArg: ") + given.message : "");
    EXPECT_EQ(options.level, 3);
  }
}
