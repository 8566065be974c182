#include "base/plat/cli/parameterListing.h"

#include <gtest/gtest.h>

#include <string>

#include "base/plat/Configuration.h"
#include "tests/loc/texts.h"

using namespace plat;
using test::UsingLocale;

namespace {

std::string helpOf(const Configuration& registry, bool showAll) {
  char* text = nullptr;
  size_t size = 0;
  FILE* stream = open_memstream(&text, &size);
  printHelp(registry, showAll, true, stream, 60, 6);
  fclose(stream);
  return String::adopt(text).get();
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
  EXPECT_EQ(helpOf(tree.parent, true),
            "Parent Parameters:\n"
            "  hidden - Rarely used (Standard=1)\n"
            "  Name   - Protokolldateien X Tage lang aufbewahren.\n"
            "           (Standard=x)\n"  // would not fit
            "  Size   - How much (Standard=7)\n"
            "Globale Parameter:\n"
            "  Key    - A key\n"
            "Grandchild Parameters:\n"
            "  Below  - morgen (Standard=)\n");
}
