#include "base/plat/Configuration.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/plat/Exception.h"

using namespace plat;

namespace {

const char* const colours[] = {"Red", "Green", nullptr};

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

TEST(Configuration, lookupsIgnoreCaseAndCheckTheType) {
  Configuration registry("Test");
  BoolParameter flag("MiniUpdates", "d", true, false, &registry);
  IntParameter size("Size", "d", 1, false, &registry);
  StringParameter text("Text", "d", nullptr, "", false, &registry);
  EnumParameter colour("Colour", "d", colours, 0, false, &registry);
  S64Parameter big("Big", "d", nullptr, "int64:0000000000000000", false, &registry);
  BinaryParameter bytes("Bytes", "d", nullptr, nullptr, 0, false, &registry);

  EXPECT_EQ(registry.getParam("miniupdates"), &flag);
  EXPECT_EQ(registry.getBoolParam("MINIUPDATES"), &flag);
  EXPECT_EQ(registry.getIntParam("size"), &size);
  EXPECT_EQ(registry.getStringParam("text"), &text);
  EXPECT_EQ(registry.getEnumParam("colour"), &colour);
  EXPECT_EQ(registry.getS64Param("big"), &big);
  EXPECT_EQ(registry.getBinaryParam("bytes"), &bytes);

  try {
    registry.getIntParam("MiniUpdates");
    FAIL();
  } catch (const AssertionFail& e) {
    EXPECT_STREQ(e.expr, "p");
  }
  EXPECT_THROW(registry.getStringParam("Big"), AssertionFail);
  EXPECT_THROW(registry.getBool("Size", true), AssertionFail);
  EXPECT_TRUE(registry.getBool("miniUpdates", false));
  EXPECT_TRUE(registry.getBool("Nowhere", true));
  try {
    registry.getBoolParam("Nowhere");
    FAIL();
  } catch (const Exception& e) {
    EXPECT_STREQ(e.message, "Parameter Nowhere not found");
  }
}

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
  EXPECT_EQ(tree.parent.findParam(nullptr, true), nullptr);
}

TEST(Configuration, setParamStopsAtTheFirstThatTakesIt) {
  Tree tree;
  IntParameter inGrandchild("P", "d", 0, false, &tree.grandchild, 0, 5);
  IntParameter inSecond("P", "d", 0, false, &tree.second, 0, 100);
  EXPECT_TRUE(tree.parent.setParam("p", "5", 10));
  EXPECT_EQ(inGrandchild, 5);
  EXPECT_EQ(inSecond, 0);
  EXPECT_TRUE(tree.parent.setParam("p", "50", 10));  // the first child refuses
  EXPECT_EQ(inGrandchild, 5);
  EXPECT_EQ(inSecond, 50);
  EXPECT_FALSE(tree.parent.setParam("p", "500", 10));
  IntParameter own("P", "d", 0, false, &tree.parent, 0, 1);
  EXPECT_FALSE(tree.parent.setParam("p", "50", 10));  // its refusal is final
  EXPECT_FALSE(tree.parent.setParam("Nowhere", "1", 10));
  EXPECT_FALSE(tree.parent.setParam(nullptr, "1", 10));
}

TEST(Configuration, aliasSetsItsTargets) {
  Tree tree;
  IntParameter narrow("Narrow", "d", 0, false, &tree.first, 0, 5);
  IntParameter wide("Wide", "d", 0, false, &tree.parent);
  BoolParameter both("Both", "hidden by the alias", false, false, &tree.parent);
  ParameterAlias alias("BOTH", {String("narrow"), String("NARROW"), String("wide")});
  tree.parent.addAlias(&alias);

  EXPECT_TRUE(tree.parent.setParam("both", "3", 20));
  EXPECT_EQ(narrow, 3);
  EXPECT_EQ(wide.getPriority(), 20);
  EXPECT_TRUE(tree.parent.setParam("both", "7", 20));  // one of them takes it
  EXPECT_EQ(narrow, 3);
  EXPECT_EQ(wide, 7);
  EXPECT_FALSE(tree.parent.setParam("both", "x", 20));
  EXPECT_FALSE(tree.parent.setParam("both", nullptr, 20));
  EXPECT_FALSE(both);
  tree.parent.removeAlias(&alias);
  EXPECT_TRUE(tree.parent.setParam("both", nullptr, 20));
  EXPECT_TRUE(both);
}
