#include "base/plat/ConfigParameter.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "base/plat/Configuration.h"
#include "base/plat/Exception.h"
#include "tests/support/CapturedLog.h"

using namespace plat;
using Lines = std::vector<std::string>;

namespace {

struct RecordedChanges : ParameterChangedCallback {
  void parameterChanged(ConfigParameter* parameter, int priority) override {
    changes.push_back(std::string(parameter->getName()) + "@" + std::to_string(priority));
  }
  Lines changes;
};

class ConfigParameterTest : public testing::Test {
 protected:
  ConfigParameterTest() { log.take(); }

  Configuration registry{"Test"};
  CapturedLog log{"ConfigParameter:captured:110"};
};

const char* const colours[] = {"Red", "Green", "Blue", nullptr};

}  // namespace

TEST_F(ConfigParameterTest, changesAreLoggedAndAnnouncedOnce) {
  IntParameter size("Size", "a size", 1, false, &registry, -1, 9);
  RecordedChanges recorded;
  size.addCallback(&recorded);
  for (int i = 0; i < 2; i++) EXPECT_TRUE(size.setParam("0x09", 30));
  EXPECT_TRUE(size.setParam(2, 10));  // announced though not in effect
  EXPECT_TRUE(size.setParam(3, 0));
  size.unsetParam(30);
  size.unsetParam(10, /*notify=*/false);
  EXPECT_EQ(log.take(),
            (Lines{"100 ConfigParameter set Size(int) to 9, priority 30",
                   "100 ConfigParameter set Size(int) to 2, priority 10",
                   "110 ConfigParameter set Size(int) to 3, priority 0",
                   "100 ConfigParameter unset Size(int) priority 30, now 2, priority 10",
                   "100 ConfigParameter unset Size(int) priority 10, now 3, priority 0"}));
  registry.setLogChanges(false);
  size.setParam(4, 10);
  size.unsetParam(10);
  EXPECT_EQ(log.take(), Lines{});
  EXPECT_EQ(recorded.changes,
            (Lines{"Size@30", "Size@10", "Size@0", "Size@30", "Size@10", "Size@10"}));
}

TEST_F(ConfigParameterTest, callbackMayRemoveCallbacks) {
  struct Remover : ParameterChangedCallback {
    void parameterChanged(ConfigParameter* parameter, int) override {
      parameter->removeCallback(this);
      parameter->removeCallback(second);
    }
    ParameterChangedCallback* second = nullptr;
  } first;
  BoolParameter flag("Flag", "a flag", false, false, &registry);
  RecordedChanges second, third;
  first.second = &second;
  flag.addCallback(&first);
  flag.addCallback(&second);
  flag.addCallback(&third);
  flag.setValue(true, 10);
  EXPECT_EQ(second.changes, Lines{});
  EXPECT_EQ(third.changes, Lines{"Flag@10"});
}

TEST_F(ConfigParameterTest, textFormsOfEachType) {
  BoolParameter flag("Flag", "d", false, false, &registry);
  IntParameter size("Size", "d", 0, false, &registry, -1, 9);
  EnumParameter colour("Colour", "d", colours, 0, false, &registry);
  StringParameter text("Text", "d", nullptr, "", false, &registry);
  S64Parameter big("Big", "d", nullptr, "int64:0000000000000000", false, &registry);
  BinaryParameter bytes("Bytes", "d", nullptr, nullptr, 0, false, &registry);
  struct {
    ConfigParameter& parameter;
    std::vector<std::pair<const char*, const char*>> accepted;  // with the resulting text
    std::vector<const char*> refused;
  } cases[] = {
      {flag,
       {{"TRUE", "1"}, {"OFF", "0"}, {"", "1"}, {"nO", "0"}, {nullptr, "1"}},
       {"2", " 1", "onn"}},
      {size, {{"0x09", "9"}, {"-1", "-1"}}, {"10", "-2", "1x", "", nullptr, "4294967297"}},
      {colour, {{"bLUE", "Blue"}}, {"Re", "1", "", nullptr}},
      {text, {{"\xe2\x82\xac", "\xe2\x82\xac"}, {"", ""}}, {nullptr}},
      {big,
       {{"int64:00000000000000ff", "int64:00000000000000ff"},
        {"FFFFFFFFFFFFFFFE", "int64:fffffffffffffffe"}},
       {"255", "int64:00000000000000ff0", "int64:00000000000000fg", nullptr}},
      {bytes, {{"00Ff", "00ff"}, {"", ""}}, {"00f", "0g", nullptr}},
  };
  for (const auto& c : cases) {
    for (const auto& [given, result] : c.accepted) {
      SCOPED_TRACE(std::string(c.parameter.getName()) + " " + (given ? given : "<null>"));
      EXPECT_TRUE(c.parameter.setParam(given, 10));
      EXPECT_EQ(c.parameter.getValueStr(), result);
    }
    String before = c.parameter.getValueStr();
    for (const char* given : c.refused) {
      SCOPED_TRACE(std::string(c.parameter.getName()) + " " + (given ? given : "<null>"));
      EXPECT_FALSE(c.parameter.setParam(given, 10));
      EXPECT_EQ(c.parameter.getValueStr(), before);
    }
  }
}

TEST_F(ConfigParameterTest, invalidUtf8Throws) {
  StringParameter text("Text", "d", nullptr, "", false, &registry);
  EXPECT_THROW(text.setParam("\xc3\x28", 10), BadUtf8);
  EXPECT_THROW(text.setValue(String("\xc3\x28"), 10), BadUtf8);
  EXPECT_FALSE(text.hasValue(10));
}

// They used to take anything.
TEST_F(ConfigParameterTest, typedSettersRefuseWhatTheTextFormRefuses) {
  IntParameter size("Size", "d", 0, false, &registry, -1, 9);
  EnumParameter colour("Colour", "d", colours, 0, false, &registry);
  StringParameter text("Text", "d", nullptr, "", false, &registry);
  S64Parameter big("Big", "d", nullptr, "int64:0000000000000000", false, &registry);
  EXPECT_FALSE(size.setValue(-2, 10) || size.setValue(10, 10));
  EXPECT_FALSE(colour.setValue(-1, 10) || colour.setValue(3, 10));
  EXPECT_FALSE(text.setValue(String(), 10));
  EXPECT_FALSE(big.setValue(String("255"), 10) || big.setValue(String(), 10));
  EXPECT_TRUE(size.setValue(9, 10) && colour.setValue(2, 10) && text.setValue(String("t"), 10));
  EXPECT_TRUE(big.setValue(String("00000000000000ff"), 10));
  EXPECT_EQ(big.getValue(), 255);
  EXPECT_TRUE(big.setValue(S64{-2}, 10));
  EXPECT_EQ(big.getValueStr(), "int64:fffffffffffffffe");
}

TEST_F(ConfigParameterTest, clonesOwnTheirTextsAndCopiesFollow) {
  Configuration other("Other");
  std::unique_ptr<ConfigParameter> colourClone, textClone;
  {
    std::string name = "Colour", red = "Red", blue = "Blue";
    const char* names[] = {red.c_str(), blue.c_str(), nullptr};
    EnumParameter colour(name.c_str(), "d", names, 0, true, &registry, "noPolicy");
    colour.setParam("blue", 10);
    colourClone = colour.clone(&other);
    StringParameter text("Text", nullptr, "key", "default", false, &registry);
    text.setParam("value", 30);
    textClone = text.clone(&other);
    colour.setParam("red", 10);
    name = red = blue = "gone";
  }
  EXPECT_EQ(registry.getParams(), nullptr);
  ASSERT_EQ(other.findParam("colour", false), colourClone.get());
  EXPECT_EQ(colourClone->getValueStr(), "Blue");
  EXPECT_EQ(colourClone->getValueStr(0), "Red");
  EXPECT_FALSE(colourClone->setParam("blue", 30));  // the policy tag came along

  StringParameter text("Text", "d", nullptr, "own", false, &registry);
  text.setParam("extra", 20);
  text.copyValues(*textClone);
  EXPECT_EQ(text.getValues(), textClone->getValues());
}
