// Parameters of every class against a plain table of what each holds.
#include <strings.h>

#include <cctype>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "base/plat/BinToHex.h"
#include "base/plat/Configuration.h"
#include "base/plat/HexToBin.h"
#include "base/plat/LogDest.h"
#include "base/plat/LogSrc.h"
#include "base/plat/utf8.h"
#include "fuzz/fuzz.h"

namespace {

using plat::ConfigParameter;
using Text = std::optional<std::string>;

const char* const colours[] = {"Red", "Green", "Blue", nullptr};

const char* const samples[] = {"0",
                               "1",
                               "ON",
                               "off",
                               "True",
                               "false",
                               "yes",
                               "NO",
                               "",
                               "-1",
                               "-2",
                               "0x09",
                               "0x0a",
                               "007",
                               "9 ",
                               "red",
                               "BLUE",
                               "Greens",
                               "Gree",
                               "\xc3(",
                               "\xe2\x82\xac",
                               "00fF",
                               "00f",
                               "00fg",
                               "int64:00000000000000fF",
                               "int64:00000000000000f",
                               "00000000000000fF",
                               "-0000000000000fF",
                               "int64:00000000000000fg"};

std::string lower(std::string text) {
  for (char& c : text) c = static_cast<char>(tolower(c));
  return text;
}

bool isHex(const std::string& text) {
  return text.find_first_not_of("0123456789abcdefABCDEF") == text.npos;
}

// What a class makes of a text or a number; nothing: it is refused.
struct Class {
  const char* name;
  const char* type;
  Text (*ofText)(const char* text);
  Text (*ofNumber)(int number);
};

Text ofWord(const char* text) {
  const std::string word = text ? lower(text) : "";
  for (const char* yes : {"", "1", "on", "true", "yes"}) {
    if (word == yes) return "1";
  }
  for (const char* no : {"0", "off", "false", "no"}) {
    if (word == no) return "0";
  }
  return {};
}

Text ofSize(int size) {
  return size < -1 || size > 9 ? Text() : std::to_string(size);
}

Text ofSizeText(const char* text) {
  int value;
  return text && plat::strToInt(&value, &text, 0) && !*text ? ofSize(value) : Text();
}

Text ofColour(const char* text) {
  for (int i = 0; text && i < 3; i++) {
    if (!strcasecmp(text, colours[i])) return colours[i];
  }
  return {};
}

Text ofBig(const char* text) {
  if (!text) return {};
  const bool hasPrefix = !strncmp(text, "int64:", 6);
  const std::string digits = text + (hasPrefix ? 6 : 0);
  if (digits.size() != 16 || !isHex(digits)) return {};
  return hasPrefix ? text : "int64:" + lower(digits);
}

constexpr Text (*noNumber)(int) = [](int) { return Text(); };

const Class classes[] = {
    {"Flag", "bool", ofWord, [](int number) { return Text(number ? "1" : "0"); }},
    {"Size", "int", ofSizeText, ofSize},
    {"Colour", "enum", ofColour,
     [](int number) { return number < 0 || number > 2 ? Text() : colours[number]; }},
    {"Text", "string", [](const char* text) { return text ? Text(text) : Text(); }, noNumber},
    {"Big", "s64", ofBig, noNumber},
    {"Bytes", "binary",
     [](const char* text) {
       return text && strlen(text) % 2 == 0 && isHex(text) ? lower(text) : Text();
     },
     noNumber}};

constexpr int classCount = 6;

// Writes what it hears of changes into the list, as it does what is logged.
class Stage : plat::LogDest, plat::ParameterChangedCallback {
 public:
  explicit Stage(fuzz::Input& source) : LogDest("parameters"), input(source) {
    plat::LogSrc::setLogSpec("ConfigParameter:parameters:110");
    const char* tags = input.flag() ? "other,noPolicy" : nullptr;
    const bool hidden = input.flag();
    hasPolicy = !tags;
    using namespace plat;
    parameters[0] = std::make_unique<BoolParameter>("Flag", "d", false, hidden, &all, tags);
    parameters[1] = std::make_unique<IntParameter>("Size", "d", 7, hidden, &all, -1, 9, tags, "l");
    parameters[2] = std::make_unique<EnumParameter>(borrowed[0].c_str(), "d", borrowedNames, 1,
                                                    hidden, &all, tags);
    parameters[3] =
        std::make_unique<StringParameter>("Text", nullptr, "l", "t", hidden, &all, tags);
    parameters[4] = std::make_unique<S64Parameter>("Big", "d", "l", "int64:8000000000000000",
                                                   hidden, &all, tags);
    parameters[5] = std::make_unique<BinaryParameter>(
        "Bytes", "d", nullptr, reinterpret_cast<const unsigned char*>("\xab"), 1, hidden, &all,
        tags);
    const char* const defaults[] = {"0", "7", "Green", "t", "int64:8000000000000000", "ab"};
    for (int i = 0; i < classCount; i++) {
      values[i][0] = defaults[i];
      if (i != 2) parameters[i]->addCallback(this);
    }
  }
  ~Stage() override { plat::LogSrc::setLogSpec(nullptr); }

  void run() {
    checkLookup(&plat::Configuration::getBoolParam);
    checkLookup(&plat::Configuration::getIntParam);
    checkLookup(&plat::Configuration::getStringParam);
    checkLookup(&plat::Configuration::getEnumParam);
    checkLookup(&plat::Configuration::getS64Param);
    checkLookup(&plat::Configuration::getBinaryParam);
    PLAT_ASSERT(!all.getBool("FLAG", true) && all.getBool("Gone", true));
    while (input.left() > 0) {
      heard.clear();
      expected.clear();
      step(input.number(0, classCount - 1));
      PLAT_ASSERT_DETAIL(heard == expected, "heard %s not %s", heard.c_str(), expected.c_str());
    }
  }

 private:
  using Values = std::map<int, std::string>;

  void step(int which) {
    ConfigParameter& parameter = *parameters[which];
    const int priority = input.flag() ? input.number(28, 31) : input.number(0, 2);
    const int kind = input.number(0, 11);
    if (kind == 0) {
      logs = input.flag();
      all.setLogChanges(logs);
    } else if (kind < 3) {
      const bool notify = input.flag();
      expectUnset(which, priority, notify);
      parameter.unsetParam(priority, notify);
    } else if (kind == 3) {
      takeClone(which);
    } else if (kind == 4) {
      if (!saved[which]) return;
      for (const auto& [own, value] : Values(values[which])) {
        if (!savedValues[which].count(own)) expectUnset(which, own, true);
      }
      for (const auto& [other, value] : savedValues[which]) expectSet(which, other, value);
      parameter.copyValues(*saved[which]);
    } else if (kind < 7) {
      const int number = input.number(-3, 11);
      const bool taken = expectSet(which, priority, classes[which].ofNumber(number));
      PLAT_ASSERT(parameter.setParam(number, priority) == taken);
    } else {
      const int sample = input.number(-2, static_cast<int>(std::size(samples)) - 1);
      const std::string random = sample == -2 ? fuzz::text(input.text(20)) : "";
      const char* const text = sample < 0 ? nullptr : samples[sample];
      const char* const given = sample == -2 ? random.c_str() : text;
      kind < 9 ? setTyped(which, input.number(-3, 11), given, priority)
               : setText(which, given, priority);
    }
    check(*parameters[which], which);
  }

  void setText(int which, const char* text, int priority) {
    ConfigParameter& parameter = *parameters[which];
    if (which == 3 && text && !plat::isValidUtf8(text)) {
      PLAT_ASSERT(fuzz::refusal([&] { parameter.setParam(text, priority); }) ==
                  ": Bad UTF-8 string for Text");
      return;
    }
    const Text value = classes[which].ofText(text);
    if (which == 0 && !value)
      log(0, std::string("Bool parameter Flag: invalid value '") + text + "'");
    const bool taken = expectSet(which, priority, value);
    PLAT_ASSERT(parameter.setParam(text, priority) == taken);
  }

  // By the setters of the classes, which take no more than the texts do.
  void setTyped(int which, int number, const char* text, int priority) {
    plat::MBuf<unsigned char> binary;
    if (which == 5 && (!text || !plat::hexToBin(text, binary))) return;
    if (which == 3 && text && !plat::isValidUtf8(text)) return;
    const bool ofNumber = which < 3 || (which == 4 && input.flag());
    Text value = ofNumber ? classes[which].ofNumber(number) : classes[which].ofText(text);
    if (ofNumber && which == 4) value = plat::S64Parameter::canonicalText(number).get();
    const bool taken = expectSet(which, priority, value);
    bool result = false;
    if (which == 0) {
      result = parameter<plat::BoolParameter>(which).setValue(number, priority);
    } else if (which < 3) {
      result = parameter<plat::IntParameter>(which).setValue(number, priority);
    } else if (which == 3) {
      result = parameter<plat::StringParameter>(which).setValue(plat::String(text), priority);
    } else if (which == 5) {
      result = parameter<plat::BinaryParameter>(which).setValue(binary, priority);
    } else if (ofNumber) {
      result = parameter<plat::S64Parameter>(which).setValue(plat::S64{number}, priority);
    } else {
      result = parameter<plat::S64Parameter>(which).setValue(plat::String(text), priority);
    }
    PLAT_ASSERT(result == taken);
  }

  // It goes on in the place of the other, without a callback; one more is kept for later.
  void takeClone(int which) {
    std::unique_ptr<ConfigParameter>& original = parameters[which];
    std::unique_ptr<ConfigParameter> clone = original->clone(&all);
    PLAT_ASSERT(clone->isHidden() == original->isHidden());
    PLAT_ASSERT(plat::strCompare(clone->getName(), original->getName()) == 0);
    PLAT_ASSERT(plat::strCompare(clone->getDesc(), original->getDesc()) == 0);
    PLAT_ASSERT(plat::strCompare(clone->getLocDesc(), original->getLocDesc()) == 0);
    original = std::move(clone);
    PLAT_ASSERT(all.findParam(lower(original->getName()).c_str(), false) == original.get());
    hasCallback[which] = false;
    // A clone has texts of its own.
    if (which == 2) {
      for (std::string& text : borrowed) text.assign(text.size(), 'x');
    }
    saved[which] = original->clone(&elsewhere);
    savedValues[which] = values[which];
    check(*saved[which], which);
  }

  template <class Parameter>
  Parameter& parameter(int which) {
    return dynamic_cast<Parameter&>(*parameters[which]);
  }

  // By a getter of a class: the one that is of it.
  template <class Parameter>
  void checkLookup(Parameter* (plat::Configuration::*get)(const char*) const) const {
    for (const auto& parameter : parameters) {
      std::string failure;
      try {
        PLAT_ASSERT((all.*get)(parameter->getName()) == parameter.get());
      } catch (const plat::AssertionFail& e) {
        failure = e.expr;
      }
      PLAT_ASSERT(failure == (dynamic_cast<Parameter*>(parameter.get()) ? "" : "p"));
    }
    PLAT_ASSERT(fuzz::refusal([&] { (all.*get)("Gone"); }) == ": Parameter Gone not found");
  }

  bool expectSet(int which, int priority, const Text& value) {
    if (!value || (priority > 29 && !hasPolicy)) return false;
    if (values[which].count(priority) && values[which][priority] == *value) return true;
    values[which][priority] = *value;
    if (logs) {
      log(priority > 0 ? 100 : 110, "set " + title(which) + " to " + shown(which, *value) +
                                        ", priority " + std::to_string(priority));
    }
    if (hasCallback[which]) expected += "@" + std::to_string(priority) + "\n";
    return true;
  }
  void expectUnset(int which, int priority, bool notify) {
    if (priority == 0 || !values[which].erase(priority)) return;
    const auto& [now, value] = *values[which].rbegin();
    if (logs) {
      log(100, "unset " + title(which) + " priority " + std::to_string(priority) + ", now " +
                   shown(which, value) + ", priority " + std::to_string(now));
    }
    if (notify && hasCallback[which]) expected += "@" + std::to_string(priority) + "\n";
  }
  void log(int level_, const std::string& text) {
    expected += std::to_string(level_) + " " + plat::escapeUtf8(text.c_str(), '~').get() + "\n";
  }
  std::string title(int which) const {
    return parameters[which]->getName() + ("(" + std::string(classes[which].type) + ")");
  }
  static std::string shown(int which, const std::string& value) {
    return which == 5 ? "<binary>" : value;
  }

  void check(const ConfigParameter& parameter, int which) const {
    for (int i : {-1, 3}) PLAT_ASSERT(parameters[2]->intToStr(i) == std::to_string(i).c_str());
    const Values& held = values[which];
    const auto& [priority, value] = *held.rbegin();
    PLAT_ASSERT(!strcmp(parameter.getName(), classes[which].name));
    PLAT_ASSERT(!strcmp(parameter.getTypeName(), classes[which].type));
    PLAT_ASSERT(parameter.getPriority() == priority);
    PLAT_ASSERT(parameter.getValueStr() == value.c_str());
    int number = which < 2 ? std::stoi(value) : 0;
    while (which == 2 && value != colours[number]) number++;
    PLAT_ASSERT(parameter.getInt() == number);
    if (const auto* big = dynamic_cast<const plat::S64Parameter*>(&parameter)) {
      PLAT_ASSERT(big->getValue() ==
                  static_cast<plat::S64>(std::stoull(value.substr(6), nullptr, 16)));
    }
    if (const auto* binary = dynamic_cast<const plat::BinaryParameter*>(&parameter)) {
      plat::MBuf<unsigned char> bytes(1);
      binary->getValue(bytes);
      PLAT_ASSERT(plat::binToHex(bytes.data(), bytes.size()) == value.c_str());
    }
    const auto texts = parameter.getValues();
    PLAT_ASSERT(texts.size() == held.size());
    for (int at = 0; at < 32; at++) {
      const bool has = held.count(at);
      PLAT_ASSERT(parameter.hasValue(at) == has);
      PLAT_ASSERT(parameter.getValueStr(at) == (has ? shown(which, held.at(at)).c_str() : nullptr));
      PLAT_ASSERT(!has || texts.at(at) == held.at(at).c_str());
    }
  }

  void parameterChanged(ConfigParameter*, int priority) override {
    heard += "@" + std::to_string(priority) + "\n";
  }
  void write(int messageLevel, const char*, const char* text) override {
    heard += std::to_string(messageLevel) + " " + text + "\n";
  }

  fuzz::Input& input;
  plat::Configuration all{"All"}, elsewhere{"Elsewhere"};
  std::string borrowed[4] = {"Colour", "Red", "Green", "Blue"};
  const char* borrowedNames[4] = {borrowed[1].c_str(), borrowed[2].c_str(), borrowed[3].c_str()};
  std::unique_ptr<ConfigParameter> parameters[classCount], saved[classCount];
  Values values[classCount], savedValues[classCount];
  bool hasCallback[classCount] = {true, true, false, true, true, true};
  bool hasPolicy = false, logs = true;
  std::string heard, expected;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  Stage(input).run();
  return 0;
}
