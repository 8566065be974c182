#include "base/plat/cli/parameterListing.h"

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "base/loc/LString.h"
#include "base/plat/Configuration.h"
#include "base/plat/DString.h"
#include "base/plat/LogDest.h"
#include "base/plat/LogSrc.h"
#include "base/plat/utf8.h"

namespace plat {

namespace {

constexpr int usageWidth = 79;
constexpr int usageNameWidth = 14;

using Parameters = std::vector<const ConfigParameter*>;

void addVisible(Parameters& list, const Configuration& registry) {
  for (const ConfigParameter* p = registry.getParams(); p; p = p->getNext()) {
    if (*p->getName() != '_') list.push_back(p);
  }
}

void addVisibleTree(Parameters& list, const Configuration& registry) {
  addVisible(list, registry);
  for (const Configuration* child : registry.getChildren()) addVisibleTree(list, *child);
}

bool isBinary(const ConfigParameter& parameter) {
  return dynamic_cast<const BinaryParameter*>(&parameter) != nullptr;
}

bool nameBefore(const ConfigParameter* a, const ConfigParameter* b) {
  return strcasecmp(a->getName(), b->getName()) < 0;
}

bool weightierBefore(const ConfigParameter* a, const ConfigParameter* b) {
  if (a->getPriority() != b->getPriority()) return a->getPriority() > b->getPriority();
  return nameBefore(a, b);
}

// Of what is wrapped already.
int lastLineWidth(const DString& text) {
  const char* lineFeed = strrchr(text.orEmpty(), '\n');
  return utf8DisplayWidth(lineFeed ? lineFeed + 1 : text.orEmpty());
}

void printParameter(const ConfigParameter& parameter, bool showDefaults, FILE* stream, int width,
                    int nameWidth) {
  const int indent = nameWidth + 5;
  const char* key = parameter.getLocDesc();
  DString entry;
  entry.appendFormat("  %-*s - %s", nameWidth, parameter.getName(),
                     key ? loc::LString(key).get() : parameter.getDesc());
  entry.wordWrap(width, indent);
  if (showDefaults && !isBinary(parameter)) {
    const String value = strFormat("(%s=%s)", loc::LString("plat_configuration_help_default").get(),
                                   parameter.getValueStr().orEmpty());
    if (lastLineWidth(entry) + value.length() < width) {
      entry.appendFormat(" %s", value.get());
    } else {
      entry.appendFormat("\n%*s%s", indent, "", value.get());
    }
  }
  fprintf(stream, "%s\n", entry.get());
}

void printRegistry(const Configuration& registry, bool isChild, bool showAll, bool showDefaults,
                   FILE* stream, int width, int nameWidth) {
  if (isChild && registry.getLocDesc()) {
    fprintf(stream, "%s:\n", loc::LString(registry.getLocDesc()).get());
  } else {
    fprintf(stream, "%s Parameters:\n", registry.getName());
  }
  Parameters parameters;
  addVisible(parameters, registry);
  std::sort(parameters.begin(), parameters.end(), nameBefore);
  for (const ConfigParameter* parameter : parameters) {
    if (!showAll && (parameter->isHidden() || isBinary(*parameter))) continue;
    printParameter(*parameter, showDefaults, stream, width, nameWidth);
  }
  for (const Configuration* child : registry.getChildren()) {
    printRegistry(*child, true, showAll, showDefaults, stream, width, nameWidth);
  }
}

}  // namespace

void printUsage(bool all, bool showDefaults) {
  DString usage(loc::LString("plat_configuration_param_usage").get());
  usage.wordWrap(usageWidth, 0);
  fprintf(stdout, "%s\n\n", usage.orEmpty());
  printHelp(Configuration::global(), all, showDefaults, stdout, usageWidth, usageNameWidth);
  if (!all) return;
  fprintf(stdout, "\n%s\n", loc::LString("plat_configuration_log_names_title").get());
  LogSrc::listLogNames(usageWidth, stdout);
  fprintf(stdout, "\n%s\n", loc::LString("plat_configuration_log_dests_title").get());
  LogDest::listDests(stdout);
}

void printHelp(const Configuration& registry, bool showAll, bool showDefaults, FILE* stream,
               int width, int nameWidth) {
  printRegistry(registry, false, showAll, showDefaults, stream, width, nameWidth);
}

void logParams(const Configuration& registry) {
  Parameters parameters;
  addVisibleTree(parameters, registry);
  std::stable_sort(parameters.begin(), parameters.end(), weightierBefore);
  for (const ConfigParameter* parameter : parameters) {
    const int priority = parameter->getPriority();
    // By its priority, because that text of a binary value does not give it away.
    const String value = parameter->getValueStr(priority);
    const String other = strFormat("Priority %d", priority);
    const char* meaning = other.get();
    if (priority == 0) {
      meaning = "Default";
    } else if (priority == 10) {
      meaning = "Preference";
    } else if (priority > 29) {
      meaning = parameter->hasValue(10) ? "Policy overriding preference" : "Policy";
    }
    configurationLog.log(priority == 0 ? logDebug : logInfo, "%s=%s (%s)", parameter->getName(),
                         value.orEmpty(), meaning);
  }
}

}  // namespace plat
