#include "base/plat/cli/commandLine.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/plat/Configuration.h"
#include "tests/loc/texts.h"

using namespace plat;

namespace {

const char* const colours[] = {"Red", "Green", nullptr};

struct Options {
  Configuration registry{"Options"};
  BoolParameter updates{"MiniUpdates", "d", false, false, &registry};
  IntParameter level{"ZlibLevel", "d", -1, false, &registry, -1, 9};
  StringParameter text{"Text", "d", nullptr, "", false, &registry};
  EnumParameter colour{"Colour", "d", colours, 0, false, &registry};
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

TEST(commandLine, oneWordSetsAParameter) {
  for (const char* word : {"-miniupdates", "MINIUPDATES=1", "--MiniUpdates=on", "-MiniUpdates=yes",
                           "--MiniUpdates", "-MiniUpdates="}) {
    Options options;
    EXPECT_TRUE(setParamArg(options.registry, word, 20)) << word;
    EXPECT_TRUE(options.updates) << word;
    EXPECT_EQ(options.updates.getPriority(), 20);
    EXPECT_TRUE(setParamArg(options.registry, "-MiniUpdates=0", 20));
    EXPECT_FALSE(options.updates);
  }
  Options options;
  for (const char* word : {"MiniUpdates", "-MiniUpdates=2", "-ZlibLevel", "ZlibLevel=10", "-Text",
                           "-Nowhere=1", "Nowhere", "---MiniUpdates", "", "-", "--", "=", "-=1"}) {
    EXPECT_FALSE(setParamArg(options.registry, word, 20)) << word;
  }
  EXPECT_TRUE(setParamArg(options.registry, "Text=a=-b", 20));
  EXPECT_STREQ(options.text.getValue().get(), "a=-b");
}

TEST(commandLine, parseArgsTakesOptionsUpToTheFirstOtherWord) {
  const struct {
    std::vector<std::string> words;
    const char* rest;
    int level;
    const char* text;
  } cases[] = {
      {{}, "", -1, ""},
      {{"-ZlibLevel", "6", "file"}, "file", 6, ""},
      {{"-ZlibLevel", "x"}, "-ZlibLevel x", -1, ""},
      {{"-ZlibLevel"}, "-ZlibLevel", -1, ""},
      {{"--ZlibLevel", "6"}, "--ZlibLevel 6", -1, ""},
      {{"ZlibLevel=3", "-Text", "-ZlibLevel", "-miniupdates"}, "", 3, "-ZlibLevel"},
      {{"-Text", ""}, "", -1, ""},
      {{"-MiniUpdates", "0"}, "0", -1, ""},
      {{"file", "-ZlibLevel=3"}, "file -ZlibLevel=3", -1, ""},
      {{"-Colour", "green", "-Colour", "blue"}, "-Colour blue", -1, ""},
  };
  for (const auto& given : cases) {
    Options options;
    Words words(given.words);
    parseArgs(options.registry, words.argv);
    EXPECT_EQ(words.rest(), given.rest);
    EXPECT_EQ(options.level, given.level) << given.rest;
    EXPECT_STREQ(options.text.getValue().get(), given.text) << given.rest;
    EXPECT_EQ(options.level.getPriority(), given.level == -1 ? 0 : 10);
  }
}

TEST(commandLine, helpWordCallsBackWithTheModeOfTheNextWord) {
  const struct {
    std::vector<std::string> words;
    int mode;  // -1: not called
  } cases[] = {
      {{"-ZlibLevel=3", "-help", "all"}, helpAll},
      {{"--HELP", "xml"}, helpXml},
      {{"/?"}, helpUsage},
      {{"-h", "Text=a"}, helpUsage},
      {{"-help", "ALL"}, helpUsage},
      {{"file", "-help"}, -1},
      {{"help"}, -1},
      {{"-Text", "-help"}, -1},
  };
  for (const auto& given : cases) {
    Options options;
    Words words(given.words);
    int mode = -1;
    parseArgs(options.registry, words.argv, [&mode](HelpMode called) { mode = called; });
    EXPECT_EQ(mode, given.mode) << words.rest();
  }
}

TEST(commandLine, wordLeftOverIsNamedInTheLanguageOfTheUser) {
  const HelpCallback ignored = [](HelpMode) {};
  const struct {
    const char* locale;
    std::vector<std::string> words;
    bool withHelp;
    const char* message;
  } cases[] = {
      {"en", {"-ZlibLevel=3", "foo"}, true, "Bad argument 'foo'.  Run with -help for usage."},
      {"en", {"-help"}, true, "Bad argument '-help'.  Run with -help for usage."},
      {"en", {"-ZlibLevel", "100%D"}, false, "Bad argument '-ZlibLevel'."},
      {"en", {"100%D"}, false, "Bad argument '100%D'."},
      {"de", {"foo"}, false, "Ungültiges Argument „foo“."},
  };
  for (const auto& given : cases) {
    test::UsingLocale locale(given.locale);
    Options options;
    Words words(given.words);
    try {
      parseCommandLine(options.registry, words.argv, given.withHelp ? ignored : HelpCallback());
      FAIL() << given.message;
    } catch (const Exception& e) {
      EXPECT_STREQ(e.name, "BadCmdLineArg");
      EXPECT_STREQ(e.message, given.message);
    }
  }

  Options options;
  Words words({"-ZlibLevel=3"});
  parseCommandLine(options.registry, words.argv);
  EXPECT_EQ(options.level, 3);
}
