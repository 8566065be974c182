#include "base/plat/cli/commandLine.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/plat/Configuration.h"
#include "tests/loc/texts.h"

using namespace plat;

namespace {

struct Options {
  Configuration registry{"Options"};
  BoolParameter updates{"MiniUpdates", "d", false, false, &registry};
  IntParameter level{"ZlibLevel", "d", -1, false, &registry, -1, 9};
  StringParameter text{"Text", "d", nullptr, "", false, &registry};
};

// A list of words as main() gets it.
struct Words {
  explicit Words(std::vector<std::string> list) : words(std::move(list)) {
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    argv = pointers.data();
  }
  // From the current word on.
  std::string rest() const {
    std::string text;
    for (char** word = argv; *word; word++) text += (text.empty() ? "" : " ") + std::string(*word);
    return text;
  }

  std::vector<std::string> words;
  std::vector<char*> pointers;
  char** argv;
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
  } cases[] = {
      {{"--ZLIBLEVEL=3", "-ZlibLevel=10"}, "-ZlibLevel=10", 3, "", none},
      {{"---MiniUpdates"}, "---MiniUpdates", -1, "", none},
      {{"Text=a=-b", "-=1"}, "-=1", -1, "a=-b", none},
      {{"ZlibLevel=3", "-Text", "-ZlibLevel", "-miniupdates"}, "", 3, "-ZlibLevel", none},
      {{"-MiniUpdates", "0"}, "0", -1, "", none},
      {{"-ZlibLevel", "5", "file", "-help"}, "file -help", 5, "", none},
      {{"-Text", "-help"}, "", -1, "-help", none},
      {{"-ZlibLevel=3", "-help", "all"}, "-help all", 3, "", helpAll},
      {{"-help", "ALL"}, "-help ALL", -1, "", helpUsage},
      {{"/?"}, "/?", -1, "", helpUsage},
  };
  for (const auto& given : cases) {
    SCOPED_TRACE(testing::PrintToString(given.words));
    Options options;
    Words words(given.words);
    int help = none;
    parseArgs(options.registry, words.argv, [&](HelpMode called) { help = called; });
    EXPECT_EQ(words.rest(), given.rest);
    EXPECT_EQ(options.level, given.level);
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
  } cases[] = {
      {"en", "-help", [](HelpMode) {}, "Bad argument '-help'.  Run with -help for usage."},
      {"en", "100%D", nullptr, "Bad argument '100%D'."},
      {"de", "foo", nullptr, "Ungültiges Argument „foo“."},
  };
  for (const auto& given : cases) {
    test::UsingLocale locale(given.locale);
    Options options;
    Words words({"-ZlibLevel=3", given.word});
    try {
      parseCommandLine(options.registry, words.argv, given.help);
      FAIL() << given.message;
    } catch (const Exception& e) {
      EXPECT_STREQ(e.message, given.message);
    }
    EXPECT_EQ(options.level, 3);
  }
}
