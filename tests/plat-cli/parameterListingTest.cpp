#include "base/plat/cli/parameterListing.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>

#include "base/plat/Configuration.h"
#include "base/plat/utf8.h"
#include "tests/loc/texts.h"
#include "tests/support/CapturedLog.h"

using namespace plat;
using test::UsingLocale;

namespace {

std::string helpOf(const Configuration& registry, bool showAll, bool showDefaults, int width,
                   int nameWidth) {
  char* text = nullptr;
  size_t size = 0;
  FILE* stream = open_memstream(&text, &size);
  printHelp(registry, showAll, showDefaults, stream, width, nameWidth);
  fclose(stream);
  std::string copy(text, size);
  free(text);
  return copy;
}

std::string usage(bool all) {
  testing::internal::CaptureStdout();
  printUsage(all, true);
  return testing::internal::GetCapturedStdout();
}

// parent -> child -> grandchild
struct Tree {
  Tree() {
    parent.addChild(&child);
    child.addChild(&grandchild);
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

TEST(parameterListing, helpSortsFiltersAndTranslates) {
  Tree tree;
  UsingLocale german("de");
  EXPECT_EQ(helpOf(tree.parent, false, false, 79, 6),
            "Parent Parameters:\n"
            "  Name   - Protokolldateien X Tage lang aufbewahren.\n"
            "  Size   - How much\n"
            "Globale Parameter:\n"
            "Grandchild Parameters:\n"
            "  Below  - morgen\n");
  EXPECT_EQ(helpOf(tree.parent, true, true, 79, 6),
            "Parent Parameters:\n"
            "  hidden - Rarely used (Standard=1)\n"
            "  Name   - Protokolldateien X Tage lang aufbewahren. (Standard=x)\n"
            "  Size   - How much (Standard=7)\n"
            "Globale Parameter:\n"
            "  Key    - A key\n"
            "Grandchild Parameters:\n"
            "  Below  - morgen (Standard=)\n");
}

TEST(parameterListing, valueGoesToItsOwnLineWhereItDoesNotFit) {
  Configuration registry("R");
  StringParameter p("Pp", "eins zwei drei", nullptr, "4567", false, &registry);
  UsingLocale english("en");
  const std::string whole = "R Parameters:\n  Pp - eins zwei drei";
  // 21 columns and "(default=4567)"
  EXPECT_EQ(helpOf(registry, false, true, 36, 2), whole + " (default=4567)\n");
  EXPECT_EQ(helpOf(registry, false, true, 35, 2), whole + "\n       (default=4567)\n");
  EXPECT_EQ(helpOf(registry, false, true, 16, 2),
            "R Parameters:\n  Pp - eins zwei\n       drei\n       (default=4567)\n");
  // The effective value.
  p.setParam("8", 10);
  EXPECT_EQ(helpOf(registry, false, true, 10, 2),
            "R Parameters:\n  Pp -\n       eins\n       zwei\n       drei\n       (default=8)\n");
}

TEST(parameterListing, usageFits79ColumnsInEveryLanguage) {
  for (const char* locale : {"en", "de", "es", "fr", "pt"}) {
    SCOPED_TRACE(locale);
    UsingLocale use(locale);
    CapturedLog captured("*:captured:0");
    std::istringstream lines(usage(true));
    for (std::string line; std::getline(lines, line);) {
      EXPECT_LE(utf8DisplayWidth(line.c_str()), 79) << line;
    }
  }
}

TEST(parameterListing, usageListsSourcesAndDestinationsOnDemand) {
  UsingLocale english("en");
  CapturedLog captured("*:captured:0");
  const std::string brief = usage(false), all = usage(true);
  EXPECT_EQ(brief.find("Parameters can be turned on with -<param> or off with -<param>=0\n"
                       "Values can be specified as -<param> <value>\n"
                       "Other valid forms are <param>=<value> -<param>=<value> "
                       "--<param>=<value>\n"
                       "Names are case-insensitive.  Valid parameters are listed below.\n\n"
                       "Global Parameters:\n"),
            0u)
      << brief;
  EXPECT_NE(brief.find("\n  Locale         - Locale to use. Specify one of"), std::string::npos);
  EXPECT_EQ(brief.find("Log names:"), std::string::npos);
  size_t names = all.find("\n\nLog names:\n  ");
  size_t dests = all.find("\n\nLog destinations:\n  captured\n");
  ASSERT_NE(names, std::string::npos) << all;
  ASSERT_NE(dests, std::string::npos) << all;
  // One source, also with the registry's own unit and this one logging through it.
  const std::string sources = all.substr(names, dests - names);
  size_t first = sources.find("Configuration");
  ASSERT_NE(first, std::string::npos);
  EXPECT_EQ(sources.find("Configuration", first + 1), std::string::npos);
}

TEST(parameterListing, logParamsNamesThePriorityOfEveryVisibleValue) {
  Tree tree;
  tree.parent.setLogChanges(false);
  tree.child.setLogChanges(false);
  tree.grandchild.setLogChanges(false);
  IntParameter policy("apolicy", "d", 0, false, &tree.grandchild);
  policy.setParam(2, 30);
  tree.size.setParam(8, 10);
  tree.size.setParam(9, 50);
  tree.name.setParam("a\nb", 10);
  tree.below.setParam("c", 29);
  CapturedLog captured("Configuration:captured:100");
  logParams(tree.parent);
  EXPECT_EQ(captured.take(),
            (std::vector<std::string>{
                "30 Configuration Size=9 (Policy overriding preference)",
                "30 Configuration apolicy=2 (Policy)", "30 Configuration Below=c (Priority 29)",
                "30 Configuration Name=a~^Jb (Preference)", "100 Configuration hidden=1 (Default)",
                "100 Configuration Key=<binary> (Default)"}));
}
