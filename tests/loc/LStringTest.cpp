#include "base/loc/LString.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <tuple>

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
  EXPECT_EQ(filled("%S", {static_cast<const char*>(nullptr)}), "");
  EXPECT_EQ(filled("%D %+D", {5}), "5 +5");
  EXPECT_EQ(filled("%D", {INT_MIN}), "-2147483648");
  EXPECT_EQ(filled("%D %X", {UINT_MAX}), "4294967295 ffffffff");
  // Cut in bytes, but never within a character.
  EXPECT_EQ(filled("%.4S|%.3S|%.99999999999S", {"aäöx"}), "aä|aä|aäöx");
  EXPECT_EQ(captured.lines, std::vector<std::string>());
}

TEST(formatLoc, badDirectiveIsKeptAndReported) {
  // Filled with two texts, and with an integer.
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"a%", "a%%", "a%%"},
      {"%q", "%%q", "%%q"},
      {"%D%%", "%%D%", "7%"},
      {"%0$D", "%%0$D", "%%0$D"},
      {"%1$", "%%1$", "%%1$"},
      {"%99999999999$D", "%%99999999999$D", "%%99999999999$D"},
      {"%1$.0S", "%%1$.0S", "%%1$.0S"},
      {"%.1+S%2$S", "%%.1+Sy", "%%.1+S%%2$S"}};
  for (auto [format, withTexts, withInt] : cases) {
    CapturedLog captured("Localize:captured:0");
    EXPECT_EQ(filled(format, {"x", "y"}), withTexts);
    const std::string reported = std::string("0 Localize Bad loc string for args - ") + format;
    EXPECT_EQ(captured.lines, std::vector{reported});
    EXPECT_EQ(filled(format, {7}), withInt);
  }
}
