#include "base/plat/Configuration.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>

#include "tests/support/thrownBy.h"

using namespace plat;

namespace {

// parent -> first, second -> grandchild
struct Tree {
  Tree() {
    parent.addChild(&first, true);
    parent.addChild(&first, true);
    parent.addChild(&second);
    first.addChild(&grandchild);
  }

  Configuration grandchild{"Grandchild"}, first{"First"}, second{"Second"}, parent{"Parent"};
};

}  // namespace

TEST(Configuration, findParamGoesNewestFirstThenDepthFirst) {
  Tree tree;
  EXPECT_EQ(tree.parent.getChildren().size(), 2u);
  IntParameter inSecond("P", "d", 0, false, &tree.second);
  EXPECT_EQ(tree.parent.findParam("p", false), nullptr);
  EXPECT_EQ(tree.parent.findParam("p", true), &inSecond);
  IntParameter inGrandchild("P", "d", 0, false, &tree.grandchild);
  EXPECT_EQ(tree.parent.findParam("p", true), &inGrandchild);
  IntParameter older("P", "d", 0, false, &tree.parent);
  {
    IntParameter newer("P", "d", 0, false, &tree.parent);
    EXPECT_EQ(tree.parent.findParam("p", true), &newer);
  }
  EXPECT_EQ(tree.parent.findParam("p", true), &older);
}

TEST(Configuration, typedLookupsTakeTheirTypeOnly) {
  Configuration all("All");
  const char* const names[] = {"Name", nullptr};
  BoolParameter b("Bool", "d", true, false, &all);
  IntParameter i("Int", "d", 0, false, &all);
  StringParameter s("String", "d", nullptr, "", false, &all);
  EnumParameter e("Enum", "d", names, 0, false, &all);
  S64Parameter s64("S64", "d", nullptr, "int64:0000000000000000", false, &all);
  BinaryParameter bin("Binary", "d", nullptr, nullptr, 0, false, &all);
  const struct {
    std::function<ConfigParameter*(const char*)> get;
    std::set<const ConfigParameter*> taken;
  } lookups[] = {{[&](auto name) { return all.getBoolParam(name); }, {&b}},
                 {[&](auto name) { return all.getIntParam(name); }, {&i, &e}},
                 {[&](auto name) { return all.getStringParam(name); }, {&s}},
                 {[&](auto name) { return all.getEnumParam(name); }, {&e}},
                 {[&](auto name) { return all.getS64Param(name); }, {&s64}},
                 {[&](auto name) { return all.getBinaryParam(name); }, {&bin}}};
  for (auto& lookup : lookups) {
    for (ConfigParameter* p = all.getParams(); p; p = p->getNext()) {
      const std::string thrown = fakes::thrownBy([&] { EXPECT_EQ(lookup.get(p->getName()), p); });
      EXPECT_EQ(thrown.substr(0, 28), lookup.taken.count(p) ? "" : "AssertionFail: Assertion 'p'")
          << p->getName();
    }
    EXPECT_EQ(fakes::thrownBy([&] { lookup.get("Gone"); }), ": Parameter Gone not found");
  }
  EXPECT_TRUE(all.getBool("BOOL", false) && all.getBool("Gone", true));
}

TEST(Configuration, setParamStopsAtTheFirstThatTakesIt) {
  Tree tree;
  IntParameter inGrandchild("P", "d", 0, false, &tree.grandchild, 0, 5);
  IntParameter inSecond("P", "d", 0, false, &tree.second, 0, 100);
  EXPECT_TRUE(tree.parent.setParam("p", "5", 10));
  EXPECT_EQ(inGrandchild, 5);
  EXPECT_TRUE(tree.parent.setParam("p", "50", 10));  // the first child refuses
  EXPECT_EQ(inGrandchild, 5);
  EXPECT_EQ(inSecond, 50);
  EXPECT_FALSE(tree.parent.setParam("p", "500", 10));
  IntParameter own("P", "d", 0, false, &tree.parent, 0, 1);
  EXPECT_FALSE(tree.parent.setParam("p", "50", 10));  // its refusal is final
  EXPECT_FALSE(tree.parent.setParam("Nowhere", "1", 10));
}

TEST(Configuration, aliasSetsItsTargets) {
  Tree tree;
  IntParameter narrow("Narrow", "d", 0, false, &tree.first, 0, 5);
  IntParameter wide("Wide", "d", 0, false, &tree.parent);
  BoolParameter both("Both", "hidden by the alias", false, false, &tree.parent);
  ParameterAlias alias("BOTH", {String("narrow"), String("NARROW"), String("wide")});
  tree.parent.addAlias(&alias);

  EXPECT_TRUE(tree.parent.setParam("both", "3", 20));
  EXPECT_TRUE(tree.parent.setParam("both", "7", 20));  // one of them takes it
  EXPECT_EQ(narrow, 3);
  EXPECT_EQ(wide, 7);
  EXPECT_FALSE(tree.parent.setParam("both", nullptr, 20));
  tree.parent.removeAlias(&alias);
  EXPECT_TRUE(tree.parent.setParam("both", nullptr, 20));
  EXPECT_TRUE(both);
}
