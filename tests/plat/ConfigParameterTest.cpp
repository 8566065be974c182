#include "base/plat/ConfigParameter.h"

#include <gtest/gtest.h>

#include <csignal>
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

TEST_F(ConfigParameterTest, highestPriorityIsInEffect) {
  BoolParameter flag("Flag", "a flag", false, false, &registry);
  EXPECT_TRUE(flag.setValue(true, 10));
  EXPECT_TRUE(flag.setValue(false, 30));
  EXPECT_FALSE(flag);
  flag.unsetParam(30);
  EXPECT_TRUE(flag);
  EXPECT_EQ(flag.getPriority(), 10);
  flag.unsetParam(10);
  EXPECT_FALSE(flag);
  log.take();
  flag.unsetParam(0);
  flag.unsetParam(77);
  EXPECT_EQ(flag.getPriority(), 0);
  EXPECT_EQ(log.take(), Lines{});
}

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
  EXPECT_EQ(recorded.changes, (Lines{"Size@30", "Size@10", "Size@0", "Size@30"}));

  registry.setLogChanges(false);
  size.removeCallback(&recorded);
  EXPECT_TRUE(size.setParam(4, 10));
  size.unsetParam(10);
  EXPECT_EQ(log.take(), Lines{});
  EXPECT_EQ(recorded.changes.size(), 4u);
}

TEST_F(ConfigParameterTest, callbackMayRemoveCallbacks) {
  struct Remover : RecordedChanges {
    void parameterChanged(ConfigParameter* parameter, int priority) override {
      RecordedChanges::parameterChanged(parameter, priority);
      for (ParameterChangedCallback* callback : toRemove) parameter->removeCallback(callback);
    }
    std::vector<ParameterChangedCallback*> toRemove;
  };
  BoolParameter flag("Flag", "a flag", false, false, &registry);
  Remover first;
  RecordedChanges second, third;
  first.toRemove = {&first, &second};
  for (ParameterChangedCallback* callback :
       std::vector<ParameterChangedCallback*>{&first, &second, &third}) {
    flag.addCallback(callback);
  }
  flag.setValue(true, 10);
  EXPECT_EQ(first.changes, Lines{"Flag@10"});
  EXPECT_EQ(second.changes, Lines{});
  EXPECT_EQ(third.changes, Lines{"Flag@10"});
}

TEST_F(ConfigParameterTest, policyTagRefusesFrom30) {
  StringParameter text("Text", "a text", nullptr, "", false, &registry, "other,noPolicy");
  EXPECT_TRUE(text.setParam("a", 29));
  EXPECT_FALSE(text.setParam("b", 30));
  EXPECT_EQ(text.getValue(), "a");
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
       {{"TRUE", "1"},
        {"0", "0"},
        {"Yes", "1"},
        {"OFF", "0"},
        {"on", "1"},
        {"false", "0"},
        {"", "1"},
        {"nO", "0"},
        {nullptr, "1"}},
       {"2", " 1", "onn"}},
      {size,
       {{"9", "9"}, {"0x09", "9"}, {"-1", "-1"}, {"07", "7"}},
       {"10", "0x0a", "-2", "1x", "", nullptr, "4294967297"}},
      {colour, {{"bLUE", "Blue"}}, {"Re", "1", "", nullptr}},
      {text, {{"\xe2\x82\xac", "\xe2\x82\xac"}, {"", ""}}, {nullptr}},
      {big,
       {{"int64:00000000000000ff", "int64:00000000000000ff"},
        {"FFFFFFFFFFFFFFFE", "int64:fffffffffffffffe"}},
       {"255", "int64:ff", "int64:00000000000000f", "int64:00000000000000ff0",
        "int64:00000000000000fg", "INT64:00000000000000ff", nullptr}},
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

TEST_F(ConfigParameterTest, intFormsOfEachType) {
  BoolParameter flag("Flag", "d", false, false, &registry);
  EXPECT_TRUE(flag.setParam(-7, 10));
  EXPECT_EQ(flag.getInt(), 1);
  EnumParameter colour("Colour", "d", colours, 1, false, &registry);
  EXPECT_TRUE(colour.setParam(2, 10));
  EXPECT_FALSE(colour.setParam(3, 10));
  EXPECT_FALSE(colour.setParam(-1, 10));
  EXPECT_EQ(colour.getValueStr(), "Blue");
  EXPECT_TRUE(colour.setValue(3, 30));  // unchecked, and still has a text
  EXPECT_EQ(colour.getValueStr(), "3");
  ConfigParameter&& text = StringParameter("Text", "d", nullptr, "", false, &registry);
  EXPECT_FALSE(text.setParam(1, 10));
  EXPECT_EQ(text.getInt(), 0);
}

TEST_F(ConfigParameterTest, invalidBoolTextIsLogged) {
  BoolParameter flag("Flag", "d", true, false, &registry);
  registry.setLogChanges(false);
  EXPECT_FALSE(flag.setParam("2", 10));
  EXPECT_EQ(log.take(), Lines{"0 ConfigParameter Bool parameter Flag: invalid value '2'"});
}

TEST_F(ConfigParameterTest, s64DecodesItsText) {
  S64Parameter big("Big", "d", nullptr, "00000000000000ff", false, &registry);
  EXPECT_EQ(big.getValue(), 255);
  for (S64 value : {INT64_MIN, S64{-1}, S64{0}, S64{0x0123456789abcdef}, INT64_MAX}) {
    EXPECT_TRUE(big.setValue(value, 10));
    EXPECT_EQ(big.getValue(), value);
  }
}

TEST_F(ConfigParameterTest, binaryValueIsNotShown) {
  const unsigned char start[] = {1};
  BinaryParameter bytes("Bytes", "d", nullptr, start, 1, false, &registry);
  EXPECT_TRUE(bytes.setParam("00ff", 10));
  EXPECT_EQ(bytes.getValueStr(10), "<binary>");
  EXPECT_TRUE(bytes.getValueStr(11).isNull());
  EXPECT_EQ(bytes.getValues().at(10), "00ff");
  MBuf<unsigned char> copy;
  bytes.getValue(copy);
  ASSERT_EQ(copy.size(), 2);
  EXPECT_EQ(copy.data()[1], 0xff);
  bytes.unsetParam(10);
  EXPECT_EQ(
      log.take(),
      (Lines{"100 ConfigParameter set Bytes(binary) to <binary>, priority 10",
             "100 ConfigParameter unset Bytes(binary) priority 10, now <binary>, priority 0"}));
}

TEST_F(ConfigParameterTest, invalidUtf8Throws) {
  StringParameter text("Text", "d", nullptr, "", false, &registry);
  try {
    text.setParam("\xc3\x28", 10);
    FAIL();
  } catch (const BadUtf8& e) {
    EXPECT_STREQ(e.message, "Bad UTF-8 string for Text");
  }
  EXPECT_FALSE(text.hasValue(10));
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
  EXPECT_TRUE(colourClone->isHidden());
  EXPECT_FALSE(colourClone->setParam("blue", 30));
  EXPECT_STREQ(textClone->getLocDesc(), "key");
  EXPECT_EQ(textClone->getDesc(), nullptr);

  StringParameter text("Text", "d", nullptr, "own", false, &registry);
  text.setParam("extra", 20);
  RecordedChanges recorded;
  text.addCallback(&recorded);
  text.copyValues(*textClone);
  EXPECT_EQ(text.getValues(), textClone->getValues());
  EXPECT_EQ(recorded.changes, (Lines{"Text@20", "Text@0", "Text@30"}));
}

TEST(ConfigParameterDeathTest, brokenDeclarationsAreFatal) {
  EXPECT_EXIT(StringParameter("Text", "d", nullptr, nullptr), testing::KilledBySignal(SIGABRT),
              ": Default value <null> for Text not allowed\n$");
  EXPECT_EXIT(S64Parameter("Big", "d", nullptr, nullptr), testing::KilledBySignal(SIGABRT),
              ": Default value <null> for Big not allowed\n$");
  EXPECT_EXIT(S64Parameter("Big", "d", nullptr, "255"), testing::KilledBySignal(SIGABRT),
              ": Default value 255 for Big not allowed\n$");
  EXPECT_EXIT(BoolParameter("Flag", nullptr, false), testing::KilledBySignal(SIGABRT),
              "^Assertion 'desc \\|\\| locDesc' failed");
}
