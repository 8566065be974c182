#include "base/plat/ConfigParameter.h"

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/plat/Assertion.h"
#include "base/plat/BinToHex.h"
#include "base/plat/Configuration.h"
#include "base/plat/DString.h"
#include "base/plat/HexToBin.h"
#include "base/plat/LogSrc.h"
#include "base/plat/utf8.h"

namespace plat {

namespace {

constexpr int maxNoPolicyPriority = 29;
constexpr char s64Prefix[] = "int64:";

constinit LogSrc logSource("ConfigParameter");
const LogSrc::Listed listed(logSource);

String valueText(const ConfigParameter&, bool value) {
  return String(value ? "1" : "0");
}
String valueText(const ConfigParameter& parameter, int value) {
  return parameter.intToStr(value);
}
String valueText(const ConfigParameter&, const String& value) {
  return value;
}
String valueText(const ConfigParameter&, const MBuf<unsigned char>& value) {
  return binToHex(value.data(), value.size());
}

String checkedDefault(const char* name, const char* defaultValue) {
  PLAT_ASSERT_DETAIL(defaultValue, "Default value <null> for %s not allowed", name);
  return String(defaultValue);
}

// The stored form; null when the text is no 64-bit value.
String s64StoredText(const char* text, S64* value) {
  if (!text) return String();
  bool prefixed = startsWith(text, s64Prefix);
  const char* digits = prefixed ? text + strlen(s64Prefix) : text;
  unsigned char bytes[8];
  if (strlen(digits) != 2 * sizeof(bytes) || !hexToBin(digits, sizeof(bytes), bytes)) {
    return String();
  }
  U64 bits = 0;
  for (unsigned char byte : bytes) bits = bits << 8 | byte;
  *value = static_cast<S64>(bits);
  return prefixed ? String(text) : S64Parameter::canonicalText(*value);
}

String checkedS64Default(const char* name, const char* defaultValue) {
  S64 value;
  String stored = s64StoredText(checkedDefault(name, defaultValue).get(), &value);
  PLAT_ASSERT_DETAIL(!stored.isNull(), "Default value %s for %s not allowed", defaultValue, name);
  return stored;
}

// The values in text form, wiped at the end, because binary ones may be secrets.
struct ValueTexts {
  explicit ValueTexts(const ConfigParameter& parameter) : texts(parameter.getValues()) {}
  ValueTexts(const ValueTexts&) = delete;
  ~ValueTexts() {
    for (auto& [priority, text] : texts) secureWipe(text.data(), text.length());
  }
  std::map<int, String> texts;
};

int countNames(const char* const* names) {
  int count = 0;
  while (names[count]) count++;
  return count;
}

}  // namespace

ParameterChangedCallback::~ParameterChangedCallback() = default;

ConfigParameter::ConfigParameter(const char* name_, const char* desc_, const char* locDesc_,
                                 bool hidden_, Configuration* configuration_)
    : configuration(configuration_ ? configuration_ : &Configuration::global()),
      name(name_),
      desc(desc_),
      locDesc(locDesc_),
      hidden(hidden_),
      ownsStrings(false) {
  link();
  PLAT_ASSERT(desc || locDesc);
}

ConfigParameter::ConfigParameter(const ConfigParameter& original, Configuration* configuration_)
    : configuration(configuration_ ? configuration_ : &Configuration::global()),
      hidden(original.hidden),
      ownsStrings(true),
      tags(original.tags) {
  String nameCopy(original.name), descCopy(original.desc), locDescCopy(original.locDesc);
  name = nameCopy.release();
  desc = descCopy.release();
  locDesc = locDescCopy.release();
  link();
}

ConfigParameter::~ConfigParameter() {
  ConfigParameter** at = &configuration->params;
  while (*at != this) at = &(*at)->next;
  *at = next;
  if (ownsStrings) {
    free(const_cast<char*>(name));
    free(const_cast<char*>(desc));
    free(const_cast<char*>(locDesc));
  }
}

void ConfigParameter::link() {
  next = configuration->params;
  configuration->params = this;
}

bool ConfigParameter::setParam(int, int) {
  return false;
}

int ConfigParameter::getInt() const {
  return 0;
}

String ConfigParameter::intToStr(int value) const {
  return strFormat("%d", value);
}

void ConfigParameter::addCallback(ParameterChangedCallback* callback) {
  callbacks.push_back(callback);
}

void ConfigParameter::removeCallback(ParameterChangedCallback* callback) {
  callbacks.remove(callback);
}

void ConfigParameter::copyValues(const ConfigParameter& other) {
  const ValueTexts own(*this), wanted(other);
  for (const auto& [priority, text] : own.texts) {
    if (!wanted.texts.count(priority)) unsetParam(priority, true);
  }
  for (const auto& [priority, text] : wanted.texts) setParam(text.get(), priority);
}

void ConfigParameter::notifyCallbacks(int priority) {
  // A callback may take out others, which may be gone then.
  const std::list<ParameterChangedCallback*> current = callbacks;
  for (ParameterChangedCallback* callback : current) {
    if (std::find(callbacks.begin(), callbacks.end(), callback) != callbacks.end()) {
      callback->parameterChanged(this, priority);
    }
  }
}

void ConfigParameter::logSet(int priority) const {
  if (!configuration->getLogChanges()) return;
  logSource.log(priority > 0 ? logDebug : logDebug2, "set %s(%s) to %s, priority %d", name,
                getTypeName(), getValueStr(priority).orEmpty(), priority);
}

void ConfigParameter::logUnset(int priority) const {
  if (!configuration->getLogChanges()) return;
  logSource.debug("unset %s(%s) priority %d, now %s, priority %d", name, getTypeName(), priority,
                  getValueStr(getPriority()).orEmpty(), getPriority());
}

template <class T>
TypedParameter<T>::TypedParameter(const char* name_, const char* desc_, const char* locDesc_,
                                  const T& defaultValue, bool hidden_,
                                  Configuration* configuration_, const char* tagList)
    : ConfigParameter(name_, desc_, locDesc_, hidden_, configuration_) {
  values.emplace(0, defaultValue);
  if (tagList) tags = StringSet(tagList, ',');
}

template <class T>
TypedParameter<T>::TypedParameter(const TypedParameter& original, Configuration* configuration_)
    : ConfigParameter(original, configuration_), values(original.values) {}

template <class T>
bool TypedParameter<T>::store(const T& value, int priority) {
  if (priority > maxNoPolicyPriority && tags.contains("noPolicy")) return false;
  auto stored = values.find(priority);
  if (stored == values.end()) {
    values.emplace(priority, value);
  } else if (stored->second == value) {
    return true;
  } else {
    stored->second = value;
  }
  logSet(priority);
  notifyCallbacks(priority);
  return true;
}

template <class T>
void TypedParameter<T>::unsetParam(int priority, bool notify) {
  if (priority == 0 || values.erase(priority) == 0) return;
  logUnset(priority);
  if (notify) notifyCallbacks(priority);
}

template <class T>
String TypedParameter<T>::getValueStr() const {
  return valueText(*this, getValue());
}

template <class T>
String TypedParameter<T>::getValueStr(int priority) const {
  auto stored = values.find(priority);
  return stored == values.end() ? String() : valueText(*this, stored->second);
}

template <class T>
std::map<int, String> TypedParameter<T>::getValues() const {
  std::map<int, String> texts;
  for (const auto& [priority, value] : values) texts.emplace(priority, valueText(*this, value));
  return texts;
}

template class TypedParameter<bool>;
template class TypedParameter<int>;
template class TypedParameter<String>;
template class TypedParameter<MBuf<unsigned char>>;

BoolParameter::BoolParameter(const char* name_, const char* desc_, bool defaultValue, bool hidden_,
                             Configuration* configuration_, const char* tagList,
                             const char* locDesc_)
    : TypedParameter(name_, desc_, locDesc_, defaultValue, hidden_, configuration_, tagList) {}

bool BoolParameter::parse(const char* text, bool* value) {
  static const char* const words[][2] = {
      {"0", "1"}, {"off", "on"}, {"false", "true"}, {"no", "yes"}};
  if (!text || !*text) {
    *value = true;
    return true;
  }
  for (const auto& pair : words) {
    for (bool meaning : {false, true}) {
      if (!strcasecmp(text, pair[meaning])) {
        *value = meaning;
        return true;
      }
    }
  }
  return false;
}

bool BoolParameter::setParam(const char* text, int priority) {
  bool value;
  if (!parse(text, &value)) {
    logSource.error("Bool parameter %s: invalid value '%s'", name, text);
    return false;
  }
  return store(value, priority);
}

bool BoolParameter::setParam(int value, int priority) {
  return store(value != 0, priority);
}

std::unique_ptr<ConfigParameter> BoolParameter::clone(Configuration* registry) const {
  return std::unique_ptr<ConfigParameter>(new BoolParameter(*this, registry));
}

IntParameter::IntParameter(const char* name_, const char* desc_, int defaultValue, bool hidden_,
                           Configuration* configuration_, int minimum, int maximum,
                           const char* tagList, const char* locDesc_)
    : TypedParameter(name_, desc_, locDesc_, defaultValue, hidden_, configuration_, tagList),
      min(minimum),
      max(maximum) {}

bool IntParameter::setParam(const char* text, int priority) {
  int value;
  const char* cursor = text;
  if (!strToInt(&value, &cursor, 0) || *cursor) return false;
  return setParam(value, priority);
}

bool IntParameter::setParam(int value, int priority) {
  return value >= min && value <= max && store(value, priority);
}

std::unique_ptr<ConfigParameter> IntParameter::clone(Configuration* registry) const {
  return std::unique_ptr<ConfigParameter>(new IntParameter(*this, registry));
}

EnumParameter::EnumParameter(const char* name_, const char* desc_, const char* const* names_,
                             int defaultValue, bool hidden_, Configuration* configuration_,
                             const char* tagList)
    : IntParameter(name_, desc_, defaultValue, hidden_, configuration_, 0, countNames(names_) - 1,
                   tagList),
      names(names_, names_ + max + 1) {}

bool EnumParameter::setParam(const char* text, int priority) {
  if (!text) return false;
  for (int i = 0; i <= max; i++) {
    if (!strcasecmp(text, names[i].get())) return setParam(i, priority);
  }
  return false;
}

String EnumParameter::intToStr(int value) const {
  return value >= min && value <= max ? names[value] : IntParameter::intToStr(value);
}

std::unique_ptr<ConfigParameter> EnumParameter::clone(Configuration* registry) const {
  return std::unique_ptr<ConfigParameter>(new EnumParameter(*this, registry));
}

StringParameter::StringParameter(const char* name_, const char* desc_, const char* locDesc_,
                                 const char* defaultValue, bool hidden_,
                                 Configuration* configuration_, const char* tagList)
    : TypedParameter(name_, desc_, locDesc_, checkedDefault(name_, defaultValue), hidden_,
                     configuration_, tagList) {}

bool StringParameter::setParam(const char* text, int priority) {
  if (!text) return false;
  if (!isValidUtf8(text)) throw BadUtf8("Bad UTF-8 string for %s", name);
  return store(String(text), priority);
}

std::unique_ptr<ConfigParameter> StringParameter::clone(Configuration* registry) const {
  return std::unique_ptr<ConfigParameter>(new StringParameter(*this, registry));
}

S64Parameter::S64Parameter(const char* name_, const char* desc_, const char* locDesc_,
                           const char* defaultValue, bool hidden_, Configuration* configuration_,
                           const char* tagList)
    : TypedParameter(name_, desc_, locDesc_, checkedS64Default(name_, defaultValue), hidden_,
                     configuration_, tagList) {}

bool S64Parameter::setParam(const char* text, int priority) {
  S64 value;
  String stored = s64StoredText(text, &value);
  return !stored.isNull() && store(stored, priority);
}

std::unique_ptr<ConfigParameter> S64Parameter::clone(Configuration* registry) const {
  return std::unique_ptr<ConfigParameter>(new S64Parameter(*this, registry));
}

S64 S64Parameter::getValue() const {
  S64 value = 0;
  s64StoredText(TypedParameter::getValue().get(), &value);
  return value;
}

bool S64Parameter::setValue(S64 value, int priority) {
  return store(canonicalText(value), priority);
}

String S64Parameter::canonicalText(S64 value) {
  return strFormat("%s%016llx", s64Prefix, static_cast<unsigned long long>(value));
}

BinaryParameter::BinaryParameter(const char* name_, const char* desc_, const char* locDesc_,
                                 const unsigned char* defaultValue, int defaultLength, bool hidden_,
                                 Configuration* configuration_, const char* tagList)
    : TypedParameter(name_, desc_, locDesc_,
                     MBuf<unsigned char>(defaultValue, defaultLength, /*wipe=*/true), hidden_,
                     configuration_, tagList) {}

bool BinaryParameter::setParam(const char* text, int priority) {
  MBuf<unsigned char> bytes(0, /*wipe=*/true);
  return text && hexToBin(text, bytes) && setValue(std::move(bytes), priority);
}

bool BinaryParameter::setValue(MBuf<unsigned char> value, int priority) {
  value.setWipe(true);
  return store(value, priority);
}

String BinaryParameter::getValueStr(int priority) const {
  return hasValue(priority) ? String("<binary>") : String();
}

std::unique_ptr<ConfigParameter> BinaryParameter::clone(Configuration* registry) const {
  return std::unique_ptr<ConfigParameter>(new BinaryParameter(*this, registry));
}

void BinaryParameter::getValue(MBuf<unsigned char>& out) const {
  out = getValue();
}

}  // namespace plat
