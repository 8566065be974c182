#include "base/plat/cli/commandLine.h"

#include <strings.h>

#include <initializer_list>
#include <vector>

#include "base/plat/Configuration.h"
#include "base/plat/LogDest.h"
#include "base/plat/LogSrc.h"
#include "base/plat/cli/parameterListing.h"
#include "base/plat/utf8.h"
#include "fuzz/fuzz.h"

namespace {

const char* const colours[] = {"red", "green", "blue", nullptr};

// A parameter of every class.
struct Options {
  plat::Configuration registry{"Options"}, child{"Child"};
  plat::BoolParameter flag{"Flag", "d", false, /*hidden=*/true, &registry};
  plat::IntParameter level{"Level", "d", -1, false, &registry, -1, 9};
  plat::EnumParameter colour{"Colour", "d", colours, 1, false, &registry};
  plat::StringParameter text{"Text", "d", nullptr, "", false, &registry};
  plat::S64Parameter size{"Size", "d", nullptr, "0000000000000000", false, &child};
  plat::BinaryParameter key{"Key", "d", nullptr, nullptr, 0, false, &child, "noPolicy"};
  plat::BoolParameter debug{"_Debug", "d", true, false, &registry};
  plat::ParameterAlias all{"All",
                           {plat::String("Text"), plat::String("Flag"), plat::String("Key")}};

  Options() {
    registry.addChild(&child);
    registry.addAlias(&all);
  }
};

// The text of every value is one that gives it again.
void checkCopy(const plat::ConfigParameter& original, plat::ConfigParameter& copy) {
  copy.copyValues(original);
  PLAT_ASSERT(copy.getPriority() == original.getPriority());
  PLAT_ASSERT(copy.getValueStr() == original.getValueStr());
}

// The values of both are the same.
bool areEqual(const Options& a, const Options& b) {
  const plat::ConfigParameter *left[] = {&a.flag, &a.level, &a.colour, &a.text, &a.size, &a.key},
                              *right[] = {&b.flag, &b.level, &b.colour, &b.text, &b.size, &b.key};
  for (int i = 0; i < 6; i++) {
    if (left[i]->getValues() != right[i]->getValues()) return false;
  }
  return true;
}

// One word: 1 when it is taken. Two, where the second is the value: 2.
size_t taken(Options& options, const std::vector<std::string>& words, size_t at) {
  const std::string& word = words[at];
  const size_t dashes = word.starts_with("--") ? 2 : word.starts_with("-") ? 1 : 0;
  const std::string body = word.substr(dashes);
  const size_t equals = body.find('=');
  auto set = [&](const std::string& name, const char* value) {
    return options.registry.setParam(name.c_str(), value, 10);
  };
  if (equals != body.npos) {
    if (set(body.substr(0, equals), body.c_str() + equals + 1)) return 1;
  } else if (dashes > 0 && set(body, nullptr)) {
    return 1;
  }
  return dashes > 0 && at + 1 < words.size() && set(word.substr(1), words[at + 1].c_str()) ? 2 : 0;
}

void checkArgs(const std::vector<std::string>& words) {
  Options options, expected;
  std::vector<std::string> copies = words;
  std::vector<char*> pointers;
  for (std::string& word : copies) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  char** argv = pointers.data();
  int help = -1;
  const std::string refused = fuzz::refusal(
      [&] { plat::parseArgs(options.registry, argv, [&](plat::HelpMode mode) { help = mode; }); });
  size_t at = 0;
  const std::string alsoRefused = fuzz::refusal([&] {
    while (at < words.size()) {
      const size_t count = taken(expected, words, at);
      if (count == 0) break;
      at += count;
    }
  });
  PLAT_ASSERT(argv == pointers.data() + at && refused == alsoRefused);
  PLAT_ASSERT(areEqual(options, expected));
  int mode = -1;
  if (at < words.size() && refused.empty()) {
    for (const char* word : {"-help", "--help", "-h", "/?"}) {
      if (strcasecmp(words[at].c_str(), word) != 0) continue;
      const std::string next = at + 1 < words.size() ? words[at + 1] : "";
      mode = next == "all" ? 1 : next == "xml" ? 2 : 0;
    }
  }
  PLAT_ASSERT(help == mode);
  const std::string failure =
      fuzz::refusal([&] { plat::parseCommandLine(options.registry, argv); });
  if (refused.empty()) PLAT_ASSERT(failure.empty() == (at == words.size()));
}

template <class Print>
std::string printed(Print print) {
  char* text = nullptr;
  size_t size = 0;
  FILE* stream = open_memstream(&text, &size);
  print(stream);
  fclose(stream);
  return plat::String::adopt(text).get();
}

void checkHelp(const Options& options, bool showsAll, bool showsDefaults, int width) {
  // In the order of their names.
  const plat::ConfigParameter* const own[] = {&options.colour, &options.flag, &options.level,
                                              &options.text};
  const plat::ConfigParameter* const childs[] = {&options.key, &options.size};
  auto textOf = [&](const plat::ConfigParameter& parameter, bool isHidden) -> std::string {
    if (isHidden && !showsAll) return "";
    std::string entry = "  " + std::string(parameter.getName());
    entry.resize(std::max<size_t>(entry.size(), 7), ' ');
    entry += " - d";
    if (showsDefaults && &parameter != &options.key) {
      const std::string value = std::string("(default=") + parameter.getValueStr().orEmpty() + ")";
      const bool fits = static_cast<int>(entry.size() + value.size()) < width;
      entry += fits ? " " + value : "\n          " + value;
    }
    return entry + "\n";
  };
  std::string expected = "Options Parameters:\n";
  for (const auto* each : own) expected += textOf(*each, each == &options.flag);
  expected += "Child Parameters:\n";
  for (const auto* each : childs) expected += textOf(*each, each == &options.key);
  PLAT_ASSERT(expected == printed([&](FILE* stream) {
                plat::printHelp(options.registry, showsAll, showsDefaults, stream, width, 5);
              }));
}

// The lines that the log gets.
struct Lines : plat::LogDest {
  Lines() : LogDest("lines") { plat::LogSrc::setLogSpec("Configuration:lines:110"); }
  ~Lines() override { plat::LogSrc::setLogSpec(nullptr); }
  void write(int messageLevel, const char*, const char* line) override {
    text += std::to_string(messageLevel) + " " + line + "\n";
  }
  std::string text;
};

void checkLog(const Options& options) {
  std::string expected;
  for (int priority = 40; priority >= 0; priority--) {
    for (const plat::ConfigParameter* each : std::initializer_list<const plat::ConfigParameter*>{
             &options.colour, &options.flag, &options.key, &options.level, &options.size,
             &options.text}) {
      if (each->getPriority() != priority) continue;
      const bool overrides = each->hasValue(10);
      const std::string meaning = priority == 0    ? "Default"
                                  : priority == 10 ? "Preference"
                                  : priority < 30  ? "Priority " + std::to_string(priority)
                                  : overrides      ? "Policy overriding preference"
                                                   : "Policy";
      const std::string line = std::string(each->getName()) + "=" +
                               each->getValueStr(priority).orEmpty() + " (" + meaning + ")";
      expected += (priority == 0 ? "100 " : "30 ");
      expected += plat::escapeUtf8(line.c_str(), '~').get();
      expected += "\n";
    }
  }
  Lines lines;
  plat::logParams(options.registry);
  PLAT_ASSERT(lines.text == expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const int priority = input.number(0, 40), width = input.number(15, 45);
  const bool showsAll = input.flag(), showsDefaults = input.flag();
  const std::string bytes = fuzz::text(input.rest());

  std::vector<std::string> words(1);
  for (char c : bytes) {
    if (c == '\n') {
      words.emplace_back();
    } else {
      words.back() += c;
    }
  }
  checkArgs(words);
  Options options;
  for (const std::string& word : words) {
    fuzz::isRefused([&] { plat::setParamArg(options.registry, word.c_str(), priority); });
  }

  Options copies;
  checkCopy(options.flag, copies.flag);
  checkCopy(options.level, copies.level);
  checkCopy(options.colour, copies.colour);
  checkCopy(options.text, copies.text);
  checkCopy(options.size, copies.size);
  checkCopy(options.key, copies.key);
  PLAT_ASSERT(copies.size.getValue() == options.size.getValue());
  PLAT_ASSERT(options.level >= -1 && options.level <= 9);
  PLAT_ASSERT(options.colour >= 0 && options.colour <= 2);

  checkHelp(options, showsAll, showsDefaults, width);
  checkLog(options);
  return 0;
}
