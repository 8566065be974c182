#pragma once

#include <list>
#include <map>
#include <vector>

#include "base/plat/ConfigParameter.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"

namespace plat {

class LogSrc;

// The log source "Configuration".
extern constinit LogSrc configurationLog;

// One name that sets several parameters. A target may be an alias in turn, but
// must not lead back to this one.
class ParameterAlias {
 public:
  using Values = std::map<String, String, LessNoCase>;  // parameter name to value

  explicit ParameterAlias(const char* name, std::vector<String> targets = {});
  virtual ~ParameterAlias();
  // Maps every target to the value, which may be null. True: `out` was filled.
  virtual bool expand(const char* value, int priority, Values& out) const;

  const char* getName() const { return name.get(); }

 protected:
  String name;
  std::vector<String> targets;
};

// A named set of parameters, which may hold other such sets. Names of parameters
// and aliases compare without regard to case. Its parameters are destroyed before
// it.
class Configuration : public NonCopyable {
 public:
  // locDesc: key of the title's text, static, may be null.
  explicit Configuration(const char* name, const char* locDesc = nullptr);
  ~Configuration();

  // The process-wide registry, "Global". Never destroyed: parameters and
  // exceptions use it until the very end of the process.
  static Configuration& global();

  // The child is borrowed and outlives this registry. `unique`: a child already
  // present is not added again.
  void addChild(Configuration* child, bool unique = false);
  // Borrowed until removed. An alias of the same name is replaced.
  void addAlias(const ParameterAlias* alias);
  void removeAlias(const ParameterAlias* alias);

  // Own parameters, the newest first; with `recurse` then each child, depth
  // first. Null when there is none.
  ConfigParameter* findParam(const char* paramName, bool recurse) const;
  // With recursion; throws plat::Exception "Parameter %s not found".
  ConfigParameter* getParam(const char* paramName) const;
  // As getParam; a parameter of another type throws plat::AssertionFail.
  BoolParameter* getBoolParam(const char* paramName) const;
  IntParameter* getIntParam(const char* paramName) const;
  StringParameter* getStringParam(const char* paramName) const;
  EnumParameter* getEnumParam(const char* paramName) const;
  S64Parameter* getS64Param(const char* paramName) const;
  BinaryParameter* getBinaryParam(const char* paramName) const;
  // The effective value, or the default when there is no such parameter.
  bool getBool(const char* paramName, bool defaultValue) const;

  // Sets an alias's targets (true when any was set), else the own parameter, else
  // the first child that takes it. False: unknown name, or the value is refused.
  bool setParam(const char* paramName, const char* value, int priority);

  const char* getName() const { return name.get(); }
  const char* getLocDesc() const { return locDesc; }
  ConfigParameter* getParams() const { return params; }  // newest; see getNext()
  const std::list<Configuration*>& getChildren() const { return children; }
  bool getLogChanges() const { return logChanges; }
  void setLogChanges(bool on) { logChanges = on; }

 private:
  friend class ConfigParameter;

  String name;
  const char* locDesc;
  ConfigParameter* params = nullptr;
  std::list<Configuration*> children;
  std::map<String, const ParameterAlias*, LessNoCase> aliases;
  bool logChanges = true;
};

}  // namespace plat
