#include "base/plat/Configuration.h"

#include <strings.h>

#include <algorithm>
#include <utility>

#include "base/plat/Assertion.h"
#include "base/plat/LogSrc.h"

namespace plat {

constinit LogSrc configurationLog("Configuration");
static const LogSrc::Listed listed(configurationLog);

namespace {

template <class Parameter>
Parameter* checkedParam(ConfigParameter* parameter) {
  auto* p = dynamic_cast<Parameter*>(parameter);
  PLAT_ASSERT_THROW(p);
  return p;
}

}  // namespace

ParameterAlias::ParameterAlias(const char* aliasName, std::vector<String> targetNames)
    : name(aliasName), targets(std::move(targetNames)) {}

ParameterAlias::~ParameterAlias() = default;

bool ParameterAlias::expand(const char* value, int, Values& out) const {
  for (const String& target : targets) out.insert_or_assign(target, String(value));
  return true;
}

Configuration::Configuration(const char* registryName, const char* titleKey)
    : name(registryName), locDesc(titleKey) {}

Configuration::~Configuration() {
  PLAT_ASSERT(!params);
}

Configuration& Configuration::global() {
  static Configuration& registry = *new Configuration("Global", "plat_configuration_global_params");
  return registry;
}

void Configuration::addChild(Configuration* child, bool unique) {
  if (unique && std::find(children.begin(), children.end(), child) != children.end()) return;
  children.push_back(child);
}

void Configuration::addAlias(const ParameterAlias* alias) {
  aliases.insert_or_assign(String(alias->getName()), alias);
}

void Configuration::removeAlias(const ParameterAlias* alias) {
  auto found = aliases.find(alias->getName());
  if (found != aliases.end() && found->second == alias) aliases.erase(found);
}

ConfigParameter* Configuration::findParam(const char* paramName, bool recurse) const {
  if (!paramName) return nullptr;
  for (ConfigParameter* parameter = params; parameter; parameter = parameter->getNext()) {
    if (!strcasecmp(parameter->getName(), paramName)) return parameter;
  }
  if (recurse) {
    for (const Configuration* child : children) {
      if (ConfigParameter* parameter = child->findParam(paramName, true)) return parameter;
    }
  }
  return nullptr;
}

ConfigParameter* Configuration::getParam(const char* paramName) const {
  ConfigParameter* parameter = findParam(paramName, true);
  if (!parameter) throw ExceptionFmt("Parameter %s not found", orEmpty(paramName));
  return parameter;
}

BoolParameter* Configuration::getBoolParam(const char* paramName) const {
  return checkedParam<BoolParameter>(getParam(paramName));
}

IntParameter* Configuration::getIntParam(const char* paramName) const {
  return checkedParam<IntParameter>(getParam(paramName));
}

StringParameter* Configuration::getStringParam(const char* paramName) const {
  return checkedParam<StringParameter>(getParam(paramName));
}

EnumParameter* Configuration::getEnumParam(const char* paramName) const {
  return checkedParam<EnumParameter>(getParam(paramName));
}

S64Parameter* Configuration::getS64Param(const char* paramName) const {
  return checkedParam<S64Parameter>(getParam(paramName));
}

BinaryParameter* Configuration::getBinaryParam(const char* paramName) const {
  return checkedParam<BinaryParameter>(getParam(paramName));
}

bool Configuration::getBool(const char* paramName, bool defaultValue) const {
  ConfigParameter* parameter = findParam(paramName, true);
  return parameter ? checkedParam<BoolParameter>(parameter)->getValue() : defaultValue;
}

bool Configuration::setParam(const char* paramName, const char* value, int priority) {
  auto alias = aliases.find(paramName);
  if (alias != aliases.end()) {
    ParameterAlias::Values pairs;
    bool anySet = false;
    if (alias->second->expand(value, priority, pairs)) {
      for (const auto& [target, targetValue] : pairs) {
        anySet = setParam(target.get(), targetValue.get(), priority) || anySet;
      }
    }
    return anySet;
  }
  if (ConfigParameter* parameter = findParam(paramName, false)) {
    return parameter->setParam(value, priority);
  }
  for (Configuration* child : children) {
    if (child->setParam(paramName, value, priority)) return true;
  }
  return false;
}

}  // namespace plat
