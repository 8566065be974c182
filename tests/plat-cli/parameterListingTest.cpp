#include "base/plat/cli/parameterListing.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/plat/Configuration.h"
#include "tests/loc/texts.h"
#include "tests/support/CapturedLog.h"

using namespace plat;

namespace {

template <class Print>
std::string printed(Print print) {
  char* text = nullptr;
  size_t size = 0;
  FILE* stream = open_memstream(&text, &size);
  print(stream);
  fclose(stream);
  return String::adopt(text).get();
}

// parent -> child -> grandchild
struct Tree {
  Tree() {
    parent.addChild(&child);
    child.addChild(&grandchild);
  }
  std::string help(bool showAll, bool showDefaults, int width) const {
    return printed([&](FILE* to) { printHelp(parent, showAll, showDefaults, to, width, 6); });
  }

  Configuration grandchild{"Grandchild"};
  Configuration child{"Child", "plat_configuration_global_params"};
  Configuration parent{"Parent", "plat_usage_label"};

  const unsigned char secret[2] = {0xab, 0xcd};
  IntParameter size{"Size", "How much", 7, false, &parent};
  BoolParameter hidden{"hidden", "Rarely used", true, true, &parent};
  BoolParameter debug{"_Debug", "Never listed", true, false, &parent};
  StringParameter name{"Name", nullptr, "plat_param_log_keep_days", "x", false, &parent};
  BinaryParameter key{"Key", "A key", nullptr, secret, 2, false, &child};
  StringParameter below{"Below", "d", "loc_time_tomorrow", "", false, &grandchild};
};

}  // namespace

TEST(parameterListing, helpSortsFiltersTranslatesAndWraps) {
  Tree tree;
  test::UsingLocale german("de");
  EXPECT_EQ(tree.help(true, true, 60),
            "Parent Parameters:\n"
            "  hidden - Rarely used (Standard=1)\n"
            "  Name   - Protokolldateien X Tage lang aufbewahren.\n"
            "           (Standard=x)\n"
            "  Size   - How much (Standard=7)\n"
            "Globale Parameter:\n"
            "  Key    - A key\n"
            "Grandchild Parameters:\n"
            "  Below  - morgen (Standard=)\n");
  EXPECT_EQ(tree.help(false, false, 40),
            "Parent Parameters:\n"
            "  Name   - Protokolldateien X Tage lang\n"
            "           aufbewahren.\n"
            "  Size   - How much\n"
            "Globale Parameter:\n"
            "Grandchild Parameters:\n"
            "  Below  - morgen\n");
  // The last column stays free.
  EXPECT_NE(tree.help(false, true, 32).find("How much (Standard=7)\n"), std::string::npos);
  EXPECT_NE(tree.help(false, true, 31).find("How much\n           (Standard=7)\n"),
            std::string::npos);
}

TEST(parameterListing, usageHasTheGlobalParametersAndForAllTheLogNames) {
  CapturedLog listed("");
  for (bool all : {false, true}) {
    testing::internal::CaptureStdout();
    printUsage(all, true);
    std::string expected =
        "Parameters can be turned on with -<param> or off with -<param>=0\n"
        "Values can be specified as -<param> <value>\n"
        "Other valid forms are <param>=<value> -<param>=<value> --<param>=<value>\n"
        "Names are case-insensitive.  Valid parameters are listed below.\n\n";
    expected +=
        printed([&](FILE* to) { printHelp(Configuration::global(), all, true, to, 79, 14); });
    auto logNames = [](FILE* to) { LogSrc::listLogNames(79, to); };
    if (all) expected += "\nLog names:\n" + printed(logNames) + "\nLog destinations:\n  captured\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
  }
}

TEST(parameterListing, valuesAreLoggedTheWeightiestFirst) {
  Tree tree;
  for (int priority : {10, 29, 30}) tree.size.setParam(priority == 30 ? 9 : 8, priority);
  tree.name.setParam("n", 30);
  tree.below.setParam("b", 29);
  tree.hidden.setParam(0, 10);
  CapturedLog log("Configuration:captured:110");
  logParams(tree.parent);
  EXPECT_EQ(log.take(),
            (std::vector<std::string>{"30 Configuration Name=n (Policy)",
                                      "30 Configuration Size=9 (Policy overriding preference)",
                                      "30 Configuration Below=b (Priority 29)",
                                      "30 Configuration hidden=0 (Preference)",
                                      "100 Configuration Key=<binary> (Default)"}));
}
