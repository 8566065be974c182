#include "base/plat/cli/commandLine.h"

#include <cstring>
#include <vector>

#include "base/plat/Configuration.h"
#include "base/plat/Splitter.h"
#include "base/plat/cli/parameterListing.h"
#include "fuzz/fuzz.h"

namespace {

const char* const colours[] = {"red", "green", "blue", nullptr};

// A parameter of every class.
struct Options {
  plat::Configuration registry{"Options"}, child{"Child"};
  plat::BoolParameter flag{"Flag", "d", false, false, &registry};
  plat::IntParameter level{"Level", "d", -1, false, &registry, -1, 9};
  plat::EnumParameter colour{"Colour", "d", colours, 1, false, &registry};
  plat::StringParameter text{"Text", "d", nullptr, "", false, &registry};
  plat::S64Parameter size{"Size", "d", nullptr, "0000000000000000", false, &child};
  plat::BinaryParameter key{"Key", "d", nullptr, nullptr, 0, false, &child, "noPolicy"};
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const int priority = input.number(0, 40);
  const bool showsAll = input.flag();
  const std::string bytes = input.rest();

  plat::String copy(bytes.c_str());
  plat::Splitter lines(copy.data());
  std::vector<char*> words;
  while (char* word = lines.next('\n')) words.push_back(word);
  words.push_back(nullptr);

  Options options;
  char** argv = words.data();
  char** const end = argv + words.size() - 1;
  fuzz::isRefused([&] { plat::parseArgs(options.registry, argv); });
  PLAT_ASSERT(argv >= words.data() && argv <= end);
  fuzz::isRefused([&] { plat::parseCommandLine(options.registry, argv); });
  PLAT_ASSERT(argv >= words.data() && argv <= end);
  for (char** word = words.data(); *word; word++) {
    fuzz::isRefused([&] { plat::setParamArg(options.registry, *word, priority); });
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

  static FILE* const nowhere = fopen("/dev/null", "w");
  plat::printHelp(options.registry, showsAll, true, nowhere, 79, 14);
  return 0;
}
