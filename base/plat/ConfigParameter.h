#pragma once

#include <climits>
#include <list>
#include <map>
#include <memory>
#include <vector>

#include "base/plat/MBuf.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/NumUtil.h"
#include "base/plat/String.h"

namespace plat {

class ConfigParameter;
class Configuration;

// Runs inside the setter, on the setting thread.
class ParameterChangedCallback {
 public:
  virtual ~ParameterChangedCallback();
  virtual void parameterChanged(ConfigParameter* parameter, int priority) = 0;
};

// A named tunable that holds one value per priority; the highest priority present
// is in effect. Parameters are static objects: the constructor joins the
// registry, and names compare without regard to case. Names that begin with "_"
// are for debugging. Not thread-safe: read and write on the main thread.
//
// Priorities: 0 default (always present), 10 preference, 30 and above policy, which a
// parameter with the tag "noPolicy" refuses.
class ConfigParameter : public NonCopyable {
 public:
  virtual ~ConfigParameter();
  // False: refused, the values are unchanged. Each class says what text it takes.
  virtual bool setParam(const char* text, int priority) = 0;
  // Priority 0 is never removed. `notify` tells the callbacks.
  virtual void unsetParam(int priority, bool notify = true) = 0;
  virtual bool setParam(int value, int priority);
  virtual String getValueStr() const = 0;  // the effective value
  virtual int getInt() const;
  virtual int getPriority() const = 0;  // the effective priority
  virtual bool hasValue(int priority) const = 0;
  virtual String getValueStr(int priority) const = 0;  // null if none
  virtual std::map<int, String> getValues() const = 0;
  virtual const char* getTypeName() const = 0;
  // A copy of the values without the callbacks, registered in the given registry
  // (null: the global one); it owns copies of its texts.
  virtual std::unique_ptr<ConfigParameter> clone(Configuration* registry) const = 0;
  virtual String intToStr(int value) const;

  const char* getName() const { return name; }
  const char* getDesc() const { return desc; }        // English, may be null
  const char* getLocDesc() const { return locDesc; }  // key of a text, may be null
  bool isHidden() const { return hidden; }
  ConfigParameter* getNext() const { return next; }  // constructed before this one

  // Callbacks are borrowed and called in the order of adding. They may add and
  // remove callbacks, this one included.
  void addCallback(ParameterChangedCallback* callback);
  void removeCallback(ParameterChangedCallback* callback);

  // Makes the stored values equal to those of a parameter of the same name, in
  // text form, with notification.
  void copyValues(const ConfigParameter& other);

 protected:
  // name, desc and locDesc are borrowed static texts; desc or locDesc is given.
  // A null registry is the global one.
  ConfigParameter(const char* name, const char* desc, const char* locDesc, bool hidden,
                  Configuration* configuration);
  // For clones: owns copies of the strings.
  ConfigParameter(const ConfigParameter& original, Configuration* configuration);

  void notifyCallbacks(int priority);
  void logSet(int priority) const;
  void logUnset(int priority) const;

  Configuration* configuration;
  ConfigParameter* next;
  const char* name;
  const char* desc;
  const char* locDesc;
  bool hidden;
  bool ownsStrings;  // of a clone
  StringSet tags;
  std::list<ParameterChangedCallback*> callbacks;

 private:
  void link();
};

// For the four types at the end of this header only. Each class has a setValue(T,
// priority) that refuses what its text form refuses.
template <class T>
class TypedParameter : public ConfigParameter {
 public:
  using ConfigParameter::setParam;
  void unsetParam(int priority, bool notify = true) override;
  int getPriority() const override { return values.rbegin()->first; }
  bool hasValue(int priority) const override { return values.count(priority) != 0; }
  String getValueStr() const override;
  String getValueStr(int priority) const override;
  std::map<int, String> getValues() const override;

  const T& getValue() const { return values.rbegin()->second; }

 protected:
  // False when the tag "noPolicy" refuses the priority; nothing else is checked.
  // An equal value at the same priority is true without a log line or a callback.
  bool store(const T& value, int priority);

  TypedParameter(const char* name, const char* desc, const char* locDesc, const T& defaultValue,
                 bool hidden, Configuration* configuration, const char* tags);
  TypedParameter(const TypedParameter& original, Configuration* configuration);

  std::map<int, T> values;  // never empty
};

// Text: null, "", "1", "on", "true", "yes" or "0", "off", "false", "no", without
// regard to case. Any int: non-zero is true.
class BoolParameter : public TypedParameter<bool> {
 public:
  BoolParameter(const char* name, const char* desc, bool defaultValue, bool hidden = false,
                Configuration* configuration = nullptr, const char* tags = nullptr,
                const char* locDesc = nullptr);
  // The boolean syntax; false when the text is none.
  static bool parse(const char* text, bool* value);
  bool setParam(const char* text, int priority) override;
  bool setParam(int value, int priority) override;
  bool setValue(bool value, int priority) { return store(value, priority); }
  int getInt() const override { return getValue(); }
  const char* getTypeName() const override { return "bool"; }
  std::unique_ptr<ConfigParameter> clone(Configuration* registry) const override;
  operator bool() const { return getValue(); }

 protected:
  using TypedParameter::TypedParameter;  // for clones
};

// Text: one whole integer, base 0, within [minimum, maximum].
class IntParameter : public TypedParameter<int> {
 public:
  IntParameter(const char* name, const char* desc, int defaultValue, bool hidden = false,
               Configuration* configuration = nullptr, int minimum = INT_MIN, int maximum = INT_MAX,
               const char* tags = nullptr, const char* locDesc = nullptr);
  bool setParam(const char* text, int priority) override;
  bool setParam(int value, int priority) override;
  bool setValue(int value, int priority) { return setParam(value, priority); }
  int getInt() const override { return getValue(); }
  const char* getTypeName() const override { return "int"; }
  std::unique_ptr<ConfigParameter> clone(Configuration* registry) const override;
  operator int() const { return getValue(); }

 protected:
  IntParameter(const IntParameter& original, Configuration* registry)
      : TypedParameter(original, registry), min(original.min), max(original.max) {}

  int min, max;  // inclusive
};

// Text: one of the names, without regard to case; the value is its index.
class EnumParameter : public IntParameter {
 public:
  // names: an array that ends with a null.
  EnumParameter(const char* name, const char* desc, const char* const* names, int defaultValue,
                bool hidden = false, Configuration* configuration = nullptr,
                const char* tags = nullptr);
  using IntParameter::setParam;
  bool setParam(const char* text, int priority) override;
  const char* getTypeName() const override { return "enum"; }
  std::unique_ptr<ConfigParameter> clone(Configuration* registry) const override;
  String intToStr(int value) const override;

 protected:
  EnumParameter(const EnumParameter& original, Configuration* registry)
      : IntParameter(original, registry), names(original.names) {}

  const std::vector<String> names;
};

// Text: any valid UTF-8; otherwise throws plat::BadUtf8. Null is refused.
class StringParameter : public TypedParameter<String> {
 public:
  StringParameter(const char* name, const char* desc, const char* locDesc, const char* defaultValue,
                  bool hidden = false, Configuration* configuration = nullptr,
                  const char* tags = nullptr);
  using TypedParameter::setParam;
  bool setParam(const char* text, int priority) override;
  bool setValue(const String& value, int priority) { return setParam(value.get(), priority); }
  const char* getTypeName() const override { return "string"; }
  std::unique_ptr<ConfigParameter> clone(Configuration* registry) const override;

 protected:
  using TypedParameter::TypedParameter;  // for clones
};

// Text: "int64:" and 16 hexadecimal digits, big-endian, kept as given; or the bare
// digits, which get the prefix. The default must be such a text.
class S64Parameter : public TypedParameter<String> {
 public:
  S64Parameter(const char* name, const char* desc, const char* locDesc, const char* defaultValue,
               bool hidden = false, Configuration* configuration = nullptr,
               const char* tags = nullptr);
  using TypedParameter::setParam;
  bool setParam(const char* text, int priority) override;
  const char* getTypeName() const override { return "s64"; }
  std::unique_ptr<ConfigParameter> clone(Configuration* registry) const override;
  S64 getValue() const;
  bool setValue(S64 value, int priority);
  bool setValue(const String& value, int priority) { return setParam(value.get(), priority); }
  static String canonicalText(S64 value);

 protected:
  using TypedParameter::TypedParameter;  // for clones
};

// Text: hexadecimal, any even length. Shown as "<binary>" in the log and for one
// priority, in lower-case hexadecimal elsewhere. Bytes given up are wiped.
class BinaryParameter : public TypedParameter<MBuf<unsigned char>> {
 public:
  BinaryParameter(const char* name, const char* desc, const char* locDesc,
                  const unsigned char* defaultValue, int defaultLength, bool hidden = false,
                  Configuration* configuration = nullptr, const char* tags = nullptr);
  using TypedParameter::setParam;
  bool setParam(const char* text, int priority) override;
  using TypedParameter::getValueStr;
  String getValueStr(int priority) const override;
  bool setValue(MBuf<unsigned char> value, int priority);
  const char* getTypeName() const override { return "binary"; }
  std::unique_ptr<ConfigParameter> clone(Configuration* registry) const override;
  // Copies the effective bytes.
  virtual void getValue(MBuf<unsigned char>& out) const;
  using TypedParameter::getValue;

 protected:
  using TypedParameter::TypedParameter;  // for clones
};

extern template class TypedParameter<bool>;
extern template class TypedParameter<int>;
extern template class TypedParameter<String>;
extern template class TypedParameter<MBuf<unsigned char>>;

}  // namespace plat
