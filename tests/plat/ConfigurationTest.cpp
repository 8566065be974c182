#include "base/plat/Configuration.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <set>
#include <string>

#include "base/plat/Exception.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/thrownBy.h"

using namespace plat;
using fakes::thrownBy;
using Lines = std::vector<std::string>;

namespace {

const char* const colours[] = {"Red", "Green", "Blue", nullptr};

// A parameter of every class.
struct OfEachClass {
  explicit OfEachClass(bool hidden = false, const char* tags = nullptr)
      : flag("Flag", "d", false, hidden, &all, tags),
        size("Size", "d", 0, hidden, &all, -1, 9, tags),
        colour("Colour", "d", colours, 0, hidden, &all, tags),
        text("Text", nullptr, "key", "", hidden, &all, tags),
        big("Big", "d", "key", "int64:0000000000000000", hidden, &all, tags),
        bytes("Bytes", "d", nullptr, nullptr, 0, hidden, &all, tags) {}
  Configuration all{"All"};
  BoolParameter flag;
  IntParameter size;
  EnumParameter colour;
  StringParameter text;
  S64Parameter big;
  BinaryParameter bytes;
};

// Callbacks write into the log too.
class ConfigParameterTest : public testing::Test, protected ParameterChangedCallback {
 protected:
  ConfigParameterTest() { log.take(); }
  void parameterChanged(ConfigParameter* parameter, int priority) override {
    log.lines.push_back(parameter->getName() + ("@" + std::to_string(priority)));
  }
  CapturedLog log{"ConfigParameter:captured:110"};
};

}  // namespace

TEST_F(ConfigParameterTest, changesAreLoggedAndThenAnnouncedOnce) {
  OfEachClass p, other;
  p.size.addCallback(this);
  for (int i = 0; i < 2; i++) EXPECT_TRUE(p.size.setParam("0x09", 30));
  EXPECT_TRUE(p.size.setParam(2, 10));  // though not in effect
  EXPECT_TRUE(p.size.setParam(3, 0));
  for (int priority : {0, 20, 30}) p.size.unsetParam(priority);
  p.size.unsetParam(10, /*notify=*/false);
  p.size.unsetParam(0);
  EXPECT_TRUE(p.bytes.setParam("0aFF", 10));
  p.bytes.unsetParam(10);
  EXPECT_FALSE(p.flag.setParam("2", 10));
  EXPECT_EQ(log.take(),
            (Lines{"100 ConfigParameter set Size(int) to 9, priority 30", "Size@30",
                   "100 ConfigParameter set Size(int) to 2, priority 10", "Size@10",
                   "110 ConfigParameter set Size(int) to 3, priority 0", "Size@0",
                   "100 ConfigParameter unset Size(int) priority 30, now 2, priority 10", "Size@30",
                   "100 ConfigParameter unset Size(int) priority 10, now 3, priority 0",
                   "100 ConfigParameter set Bytes(binary) to <binary>, priority 10",
                   "100 ConfigParameter unset Bytes(binary) priority 10, now <binary>, "
                   "priority 0",
                   "0 ConfigParameter Bool parameter Flag: invalid value '2'"}));
  p.all.setLogChanges(false);
  EXPECT_TRUE(p.size.setParam(4, 20) && other.size.setParam(5, 10));
  log.take();
  p.size.copyValues(other.size);
  EXPECT_EQ(log.take(), (Lines{"Size@20", "Size@0", "Size@10"}));
}

TEST_F(ConfigParameterTest, callbackMayRemoveCallbacks) {
  struct Remover : ParameterChangedCallback {
    void parameterChanged(ConfigParameter* parameter, int) override {
      for (auto* callback : others) parameter->removeCallback(callback);
    }
    std::vector<ParameterChangedCallback*> others;
  } first, last;
  OfEachClass p;
  first.others = {&first, &last};
  last.others = {this};  // is not called
  for (ParameterChangedCallback* callback : {&first, &last}) p.flag.addCallback(callback);
  p.flag.addCallback(this);
  for (bool value : {true, false}) p.flag.setValue(value, 10);
  EXPECT_EQ(log.take(), (Lines{"100 ConfigParameter set Flag(bool) to 1, priority 10", "Flag@10",
                               "100 ConfigParameter set Flag(bool) to 0, priority 10", "Flag@10"}));
}

TEST_F(ConfigParameterTest, eachClassAndItsCloneTakeTheirTextsAndNumbers) {
  OfEachClass p(true, "other,noPolicy"), plain;
  const struct {
    ConfigParameter& parameter;
    const char* type;
    const char* taken;  // texts, each with what it becomes
    const char* refused;
    const char* numbers;  // of -2, -1, 0, 2, 3, 9 and 10 those that are taken
    int last;
  } cases[] = {
      {p.flag, "bool", "0=0,1=1,false=0,TRUE=1,OFF=0,=1,nO=0,on=1,yes=1", "2, 1,onn",
       "-2 -1 0 2 3 9 10 ", 1},
      {p.size, "int", "0x09=9,-1=-1,07=7", "0x0a,-2,1x,08,,4294967297", "-1 0 2 3 9 ", 9},
      {p.colour, "enum", "bLUE=Blue,red=Red", "Re,Redd,1,", "0 2 ", 2},
      {p.text, "string", "\xe2\x82\xac=\xe2\x82\xac,=", nullptr, "", 0},
      {p.big, "s64",
       "int64:00000000000000ff=int64:00000000000000ff,int64:00000000000000FF=int64:00000000000000FF"
       ",FFFFFFFFFFFFFFFE=int64:fffffffffffffffe",
       "255,int64:ff,int64:00000000000000ff0,int64:00000000000000fg,", "", 0},
      {p.bytes, "binary", "00Ff=00ff,=", "00f,0g", "", 0},
  };
  for (const auto& c : cases) {
    std::unique_ptr<ConfigParameter> clone;
    ConfigParameter* parameter = &c.parameter;
    for (int round = 0; round < 2; round++) {
      SCOPED_TRACE(c.type);
      EXPECT_STREQ(parameter->getTypeName(), c.type);
      EXPECT_TRUE(parameter->isHidden());
      for (const String& item : StringSet(c.taken, ',')) {
        const std::string text = item.get(), given = text.substr(0, text.find('='));
        EXPECT_TRUE(parameter->setParam(given.c_str(), 29)) << text;
        EXPECT_EQ(given + "=" + parameter->getValueStr().get(), text);
        EXPECT_FALSE(parameter->setParam(given.c_str(), 30));
        plain.all.findParam(parameter->getName(), false)->setParam(given.c_str(), 30);
      }
      EXPECT_EQ(parameter->getPriority(), 29);
      EXPECT_EQ(parameter->setParam(nullptr, 1), &c.parameter == &p.flag);
      const String before = parameter->getValueStr();
      for (const String& text : StringSet(c.refused, ',')) {
        EXPECT_FALSE(parameter->setParam(text.get(), 29)) << text.get();
      }
      EXPECT_EQ(parameter->getValueStr(), before);
      std::string numbers;
      for (int number : {-2, -1, 0, 2, 3, 9, 10}) {
        if (parameter->setParam(number, 29)) numbers += std::to_string(number) + " ";
      }
      EXPECT_EQ(numbers, c.numbers);
      EXPECT_EQ(parameter->getInt(), c.last);
      if (round > 0) break;
      clone = c.parameter.clone(&plain.all);
      EXPECT_EQ(plain.all.findParam(c.parameter.getName(), false), clone.get());
      EXPECT_EQ(clone->getValues(), c.parameter.getValues());
      EXPECT_STREQ(clone->getDesc(), c.parameter.getDesc());
      EXPECT_STREQ(clone->getLocDesc(), c.parameter.getLocDesc());
      parameter = clone.get();
    }
    clone.reset();
    // Of the same name, with a value at 30 only.
    ConfigParameter& copy = *plain.all.findParam(c.parameter.getName(), false);
    EXPECT_FALSE(copy.getValueStr(30).isNull());
    copy.copyValues(c.parameter);
    EXPECT_EQ(copy.getValues(), c.parameter.getValues());
    EXPECT_TRUE(copy.getValueStr(30).isNull());
  }
  EXPECT_EQ(p.bytes.getValueStr(29), "<binary>");
  EXPECT_EQ(p.colour.intToStr(3), "3");
  EXPECT_EQ(p.colour.intToStr(-1), "-1");
}

TEST_F(ConfigParameterTest, typedSettersRefuseWhatTheTextFormRefuses) {
  OfEachClass p;
  EXPECT_FALSE(p.size.setValue(-2, 10) || p.size.setValue(10, 10) || p.colour.setValue(-1, 10) ||
               p.colour.setValue(3, 10) || p.text.setValue(String(), 10) ||
               p.big.setValue(String("255"), 10));
  for (bool typed : {true, false}) {
    auto set = [&] { typed ? p.text.setValue(String("\xc3("), 10) : p.text.setParam("\xc3(", 10); };
    EXPECT_EQ(thrownBy(set), ": Bad UTF-8 string for Text");
  }
  EXPECT_FALSE(p.text.hasValue(10));
  EXPECT_TRUE(p.colour.setValue(2, 10) && p.text.setValue(String("t"), 10));
  EXPECT_TRUE(p.big.setValue(String("00000000000000ff"), 10) && p.big.getValue() == 255);
  EXPECT_TRUE(p.big.setValue(S64{-2}, 10) && p.big.getValue() == -2);
  EXPECT_EQ(p.big.getValueStr(), "int64:fffffffffffffffe");
}

TEST_F(ConfigParameterTest, cloneOwnsItsTexts) {
  std::string name = "Colour", red = "Red", blue = "Blue";
  const char* names[] = {red.c_str(), blue.c_str(), nullptr};
  Configuration other("Other");
  auto original = std::make_unique<EnumParameter>(name.c_str(), name.c_str(), names, 1);
  auto clone = original->clone(&other);
  original.reset();
  name = red = blue = "gone";
  EXPECT_EQ(other.findParam("colour", false), clone.get());
  EXPECT_STREQ(clone->getDesc(), "Colour");
  EXPECT_EQ(clone->getValueStr(), "Blue");
}

TEST(ConfigParameterDeathTest, badDefaultIsAnAssertion) {
  EXPECT_DEATH(StringParameter("P", "d", nullptr, nullptr), "Default value <null> for P not allow");
  EXPECT_DEATH(S64Parameter("P", "d", nullptr, "255"), "Default value 255 for P not allowed");
  EXPECT_DEATH(BoolParameter("P", nullptr, false), "Assertion 'desc \\|\\| locDesc' failed");
}

TEST(Configuration, typedLookupsTakeTheirTypeOnly) {
  OfEachClass p;
  const struct {
    std::function<ConfigParameter*(const char*)> get;
    std::set<const ConfigParameter*> taken;
  } lookups[] = {{[&](auto name) { return p.all.getBoolParam(name); }, {&p.flag}},
                 {[&](auto name) { return p.all.getIntParam(name); }, {&p.size, &p.colour}},
                 {[&](auto name) { return p.all.getStringParam(name); }, {&p.text}},
                 {[&](auto name) { return p.all.getEnumParam(name); }, {&p.colour}},
                 {[&](auto name) { return p.all.getS64Param(name); }, {&p.big}},
                 {[&](auto name) { return p.all.getBinaryParam(name); }, {&p.bytes}}};
  for (auto& lookup : lookups) {
    for (ConfigParameter* each = p.all.getParams(); each; each = each->getNext()) {
      const auto thrown = thrownBy([&] { EXPECT_EQ(lookup.get(each->getName()), each); });
      EXPECT_EQ(thrown.substr(0, 28),
                lookup.taken.count(each) ? "" : "AssertionFail: Assertion 'p'");
    }
    EXPECT_EQ(thrownBy([&] { lookup.get("Gone"); }), ": Parameter Gone not found");
  }
  EXPECT_EQ(thrownBy([&] { p.all.getParam(nullptr); }), ": Parameter  not found");
  EXPECT_TRUE(!p.all.getBool("FLAG", true) && p.all.getBool("Gone", true));
}

TEST(Configuration, namesReachOwnParametersFirstAndThenTheChildrensDepthFirst) {
  Configuration below("Below"), first("First"), second("Second"), parent("Parent");
  for (bool unique : {true, true}) parent.addChild(&first, unique);
  parent.addChild(&second);
  first.addChild(&below);
  EXPECT_EQ(parent.getChildren().size(), 2u);
  IntParameter inSecond("P", "d", 0, false, &second, 0, 100);
  EXPECT_EQ(parent.findParam("p", false), nullptr);
  EXPECT_EQ(parent.findParam("p", true), &inSecond);
  IntParameter inBelow("P", "d", 0, false, &below, 0, 5);
  EXPECT_EQ(parent.findParam("p", true), &inBelow);
  EXPECT_TRUE(parent.setParam("p", "5", 10) && parent.setParam("p", "50", 10));
  EXPECT_TRUE(inBelow == 5 && inSecond == 50);  // the first that takes it
  EXPECT_FALSE(parent.setParam("p", "500", 10) || parent.setParam("q", "1", 10));
  IntParameter older("P", "d", 0, false, &parent, 0, 1);
  EXPECT_FALSE(parent.setParam("p", "50", 10));  // its refusal is final
  EXPECT_EQ(parent.findParam("p", true), &older);
  {
    IntParameter newer("P", "d", 0, false, &parent), other("Q", "d", 0, false, &parent);
    EXPECT_EQ(parent.findParam("p", true), &newer);
  }
  EXPECT_EQ(parent.findParam("p", true), &older);
}

TEST(Configuration, aliasSetsItsTargets) {
  OfEachClass p;
  ParameterAlias alias("FLAG", {String("colour"), String("SIZE"), String("size"), String("text")});
  ParameterAlias replaced("flag");
  for (const ParameterAlias* each : {&replaced, &alias}) p.all.addAlias(each);
  p.all.removeAlias(&replaced);
  EXPECT_TRUE(p.all.setParam("flag", "3", 20));  // though one of them refuses
  EXPECT_TRUE(p.size == 3 && p.size.getPriority() == 20 && !p.flag && p.colour == 0);
  EXPECT_STREQ(p.text.getValue().get(), "3");
  EXPECT_FALSE(p.all.setParam("flag", nullptr, 20));
  p.all.removeAlias(&alias);
  EXPECT_TRUE(p.all.setParam("flag", nullptr, 20) && p.flag);
}

TEST(ConfigurationDeathTest, parametersEndFirst) {
  auto registry = std::make_unique<Configuration>("Short");
  BoolParameter flag("P", "d", false, false, registry.get());
  EXPECT_DEATH(registry.reset(), "Assertion '!params' failed");
}
