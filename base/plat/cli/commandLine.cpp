#include "base/plat/cli/commandLine.h"

#include <strings.h>

#include <cstring>

#include "base/loc/LString.h"
#include "base/plat/Configuration.h"
#include "base/plat/DString.h"

namespace plat {

static constexpr int preferencePriority = 10;

bool isHelpArg(const char* word) {
  for (const char* helpWord : {"-help", "--help", "-h", "/?"}) {
    if (!strcasecmp(word, helpWord)) return true;
  }
  return false;
}

bool setParamArg(Configuration& registry, const char* arg, int priority) {
  const bool isOption = *arg == '-';
  const char* name = arg;
  if (isOption) name += startsWith(arg, "--") ? 2 : 1;
  const char* equals = strchr(name, '=');
  if (!equals) return isOption && registry.setParam(name, nullptr, priority);
  return registry.setParam(strDup(name, static_cast<int>(equals - name)).get(), equals + 1,
                           priority);
}

void parseArgs(Configuration& registry, char**& argv, const HelpCallback& help) {
  while (const char* word = *argv) {
    if (setParamArg(registry, word, preferencePriority)) {
      argv++;
    } else if (*word == '-' && argv[1] &&
               registry.setParam(word + 1, argv[1], preferencePriority)) {
      argv += 2;
    } else {
      break;
    }
  }
  if (!help || !*argv || !isHelpArg(*argv)) return;
  const char* subject = argv[1] ? argv[1] : "";
  help(!strcmp(subject, "all") ? helpAll : !strcmp(subject, "xml") ? helpXml : helpUsage);
}

void parseCommandLine(Configuration& registry, char**& argv, const HelpCallback& help) {
  parseArgs(registry, argv, help);
  if (!*argv) return;
  throw BadCmdLineArg(
      strFormat("%s%s%s", loc::LString("plat_bad_argument", {loc::LArg(*argv)}).get(),
                help ? "  " : "", help ? loc::LString("plat_run_with_help").get() : "")
          .get());
}

}  // namespace plat
