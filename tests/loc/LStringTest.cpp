#include "base/loc/LString.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "tests/loc/texts.h"
#include "tests/support/CapturedLog.h"

namespace {

std::string filled(const char* format, std::initializer_list<loc::LArg> args) {
  plat::DString out;
  loc::formatLoc(out, format, args);
  return out.get();
}

}  // namespace

TEST(formatLoc, directivesTakeTheirArguments) {
  CapturedLog captured("Localize:captured:0");
  EXPECT_EQ(filled("%2$S-%1$S", {"x", "y"}), "y-x");
  EXPECT_EQ(filled("100%% of %S", {"it, %S"}), "100% of it, %S");
  EXPECT_EQ(filled("", {}), "");
  EXPECT_EQ(filled(nullptr, {}), "");
  EXPECT_EQ(filled("%%", {}), "%");
  EXPECT_EQ(filled("%1$S%1$S", {"a"}), "aa");
  EXPECT_EQ(filled("%S", {static_cast<const char*>(nullptr)}), "");
  EXPECT_EQ(filled("%D %+D", {5}), "5 +5");
  EXPECT_EQ(filled("%D", {INT_MIN}), "-2147483648");
  EXPECT_EQ(filled("%D %X", {UINT_MAX}), "4294967295 ffffffff");
  EXPECT_EQ(filled("%10$S", {"1", "2", "3", "4", "5", "6", "7", "8", "9", "ten"}), "ten");
  // Cut in bytes, but never within a character.
  EXPECT_EQ(filled("%.4S|%.3S|%.99999999999S", {"aäöx"}), "aä|aä|aäöx");
  EXPECT_EQ(captured.lines, std::vector<std::string>());
}

TEST(formatLoc, badDirectiveIsKeptAndReported) {
  const struct {
    const char* format;
    const char* filledWithTexts;  // "x" and "y"
    const char* filledWithInt;    // 7
  } cases[] = {
      {"a%", "a%%", "a%%"},
      {"%q", "%%q", "%%q"},
      {"%S", "%%S", "%%S"},
      {"%D%%", "%%D%", "7%"},
      {"%3$S", "%%3$S", "%%3$S"},
      {"%0$D", "%%0$D", "%%0$D"},
      {"%1$D", "%%1$D", "7"},
      {"%1D", "%%1D", "%%1D"},
      {"%1$", "%%1$", "%%1$"},
      {"%99999999999$D", "%%99999999999$D", "%%99999999999$D"},
      {"%1$+S", "%%1$+S", "%%1$+S"},
      {"%1$.S", "%%1$.S", "%%1$.S"},
      {"%1$.0S", "%%1$.0S", "%%1$.0S"},
      {"%1$.2D", "%%1$.2D", "%%1$.2D"},
      {"%X", "%%X", "%%X"},
      {"%.1+S%2$S", "%%.1+Sy", "%%.1+S%%2$S"},
  };
  for (const auto& test : cases) {
    CapturedLog captured("Localize:captured:0");
    EXPECT_EQ(filled(test.format, {"x", "y"}), test.filledWithTexts);
    EXPECT_EQ(captured.take(),
              std::vector<std::string>{std::string("0 Localize Bad loc string for args - ") +
                                       test.format});
    EXPECT_EQ(filled(test.format, {7}), test.filledWithInt);
  }
  EXPECT_EQ(filled("%+D|%.1D|%+X|%.1X|%S", {7u}), "%%+D|%%.1D|%%+X|%%.1X|%%S");
}

TEST(LString, looksUpAndFillsInOrFallsBackToTheKey) {
  test::UsingLocale german("de");
  EXPECT_STREQ(loc::LString("plat_usage_label").get(), "Verwendung:");
  EXPECT_STREQ(loc::LString("plat_bad_argument", {"-x%S"}).get(), "Ungültiges Argument „-x%S“.");

  CapturedLog captured("Localize:captured:0");
  EXPECT_STREQ(loc::LString("no_such_key").get(), "no_such_key");
  const int line = __LINE__ - 1;
  EXPECT_EQ(captured.take(),
            std::vector<std::string>{"0 Localize Missing translation for \"no_such_key\" "
                                     "(tests/loc/LStringTest.cpp:" +
                                     std::to_string(line) + ")"});
}
