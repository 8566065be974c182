#include "base/plat/Configuration.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

using namespace plat;

// What parameters hold, log and announce is in fuzz/parameters.cpp, what names reach in
// fuzz/configuration.cpp.
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
  BoolParameter flag("Flag", "d", false);
  for (auto* callback : {&first, &second, &third}) flag.addCallback(callback);
  for (bool value : {true, false}) flag.setValue(value, 10);
  EXPECT_EQ((std::vector{first.calls, second.calls, third.calls}), (std::vector{1, 0, 2}));
}

TEST(Configuration, badDefaultsAndParametersThatOutliveItAreAssertions) {
  EXPECT_DEATH(StringParameter("P", "d", nullptr, nullptr), "Default value <null> for P not allow");
  EXPECT_DEATH(S64Parameter("P", "d", nullptr, "255"), "Default value 255 for P not allowed");
  EXPECT_DEATH(BoolParameter("P", nullptr, false), "Assertion 'desc \\|\\| locDesc' failed");
  auto registry = std::make_unique<Configuration>("Short");
  BoolParameter flag("P", "d", false, false, registry.get());
  EXPECT_DEATH(registry.reset(), "Assertion '!params' failed");
}
