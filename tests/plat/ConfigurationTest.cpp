#include "base/plat/Configuration.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>

#include "tests/support/thrownBy.h"

using namespace plat;
using fakes::thrownBy;

namespace {

const char* const colours[] = {"Red", "Green", "Blue", nullptr};

// A parameter of every class.
struct OfEachClass {
  Configuration all{"All"};
  BoolParameter flag{"Flag", "d", false, false, &all};
  IntParameter size{"Size", "d", 0, false, &all, -1, 9};
  EnumParameter colour{"Colour", "d", colours, 0, false, &all};
  StringParameter text{"Text", "d", nullptr, "", false, &all};
  S64Parameter big{"Big", "d", nullptr, "0000000000000000", false, &all};
  BinaryParameter bytes{"Bytes", "d", nullptr, nullptr, 0, false, &all};
};

}  // namespace

// What they hold, log and announce is in fuzz/parameters.cpp.
TEST(ConfigParameter, callbackMayRemoveCallbacks) {
  struct Remover : ParameterChangedCallback {
    void parameterChanged(ConfigParameter* parameter, int) override {
      calls++;
      for (auto* callback : others) parameter->removeCallback(callback);
    }
    std::vector<ParameterChangedCallback*> others;
    int calls = 0;
  } first, second, third;
  first.others = {&first, &second};
  OfEachClass p;
  for (auto* callback : {&first, &second, &third}) p.flag.addCallback(callback);
  for (bool value : {true, false}) p.flag.setValue(value, 10);
  EXPECT_EQ((std::vector{first.calls, second.calls, third.calls}), (std::vector{1, 0, 2}));
}

TEST(ConfigParameter, typedSettersRefuseWhatTheTextFormRefuses) {
  OfEachClass p;
  EXPECT_FALSE(p.size.setValue(-2, 10) || p.size.setValue(10, 10) || p.colour.setValue(-1, 10) ||
               p.colour.setValue(3, 10) || p.text.setValue(String(), 10) ||
               p.big.setValue(String("255"), 10));
  EXPECT_THROW(p.text.setValue(String("\xc3("), 10), BadUtf8);
  EXPECT_TRUE(p.colour.setValue(2, 10) && p.text.setValue(String("t"), 10));
  EXPECT_TRUE(p.big.setValue(String("00000000000000ff"), 10) && p.big.getValue() == 255);
  EXPECT_TRUE(p.big.setValue(S64{-2}, 10) && p.big.getValueStr() == "int64:fffffffffffffffe");
  EXPECT_EQ(p.colour.intToStr(3), "3");
  EXPECT_EQ(p.colour.intToStr(-1), "-1");
}

TEST(ConfigParameter, cloneOwnsItsTexts) {
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
