#pragma once

#include <functional>

#include "base/plat/Exception.h"

namespace plat {

class Configuration;

// The message is localised and names the word.
class BadCmdLineArg : public Exception {
 public:
  explicit BadCmdLineArg(const char* text) : Exception(text, "BadCmdLineArg") {}
};

enum HelpMode { helpUsage = 0, helpAll = 1, helpXml = 2 };
using HelpCallback = std::function<void(HelpMode mode)>;

// "-help", "--help", "-h" and "/?", without regard to case.
bool isHelpArg(const char* word);

// One word "P=V", "-P=V" or "--P=V", or "-P" or "--P" without a value. False: it is
// none, or the registry does not take it. May throw plat::BadUtf8, as the two below.
bool setParamArg(Configuration& registry, const char* arg, int priority);

// Both begin at argv, the first word and not the program's name, in a list that a null
// ends. They move argv behind what they take, as preferences: the words above and the
// two words "-P V". Where that stops at a help word, the callback, which may be empty,
// prints the help for the word behind ("all", "xml" or any other) and ends the process.

// Leaves argv at the first word that is no option.
void parseArgs(Configuration& registry, char**& argv, const HelpCallback& help = {});
// Throws BadCmdLineArg for that word.
void parseCommandLine(Configuration& registry, char**& argv, const HelpCallback& help = {});

}  // namespace plat
