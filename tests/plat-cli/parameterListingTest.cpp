#include "base/plat/cli/parameterListing.h"

#include <gtest/gtest.h>

#include <string>

#include "base/plat/Configuration.h"
#include "tests/loc/texts.h"
#include "tests/support/CapturedLog.h"

using namespace plat;

static std::string printed(auto print) {
  testing::internal::CaptureStdout();
  print();
  return testing::internal::GetCapturedStdout();
}

// What is listed and logged of the parameters of a registry is in fuzz/commandLine.cpp.
TEST(parameterListing, helpIsTranslatedAndWrapped) {
  Configuration child("Child", "plat_configuration_global_params"), parent("Parent", "unused");
  parent.addChild(&child);
  StringParameter name("Name", nullptr, "plat_param_log_keep_days", "x", false, &child);
  test::UsingLocale german("de");
  EXPECT_EQ(printed([&] { printHelp(parent, true, true, stdout, 40, 6); }),
            "Parent Parameters:\n"
            "Globale Parameter:\n"
            "  Name   - Protokolldateien X Tage lang\n"
            "           aufbewahren. (Standard=x)\n");
}

TEST(parameterListing, usageHasTheGlobalParametersAndForAllTheLogNames) {
  CapturedLog listed("");
  for (bool all : {false, true}) {
    std::string expected =
        "Parameters can be turned on with -<param> or off with -<param>=0\n"
        "Values can be specified as -<param> <value>\n"
        "Other valid forms are <param>=<value> -<param>=<value> --<param>=<value>\n"
        "Names are case-insensitive.  Valid parameters are listed below.\n\n";
    expected += printed([&] { printHelp(Configuration::global(), all, true, stdout, 79, 14); });
    const std::string logNames = printed([] { LogSrc::listLogNames(79, stdout); });
    if (all) expected += "\nLog names:\n" + logNames + "\nLog destinations:\n  captured\n";
    EXPECT_EQ(printed([&] { printUsage(all, true); }), expected);
  }
}
