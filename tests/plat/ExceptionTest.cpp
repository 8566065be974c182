#include "base/plat/Exception.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <string>

#include "base/plat/Configuration.h"
#include "base/plat/unix/strError.h"

using namespace plat;

namespace {

std::string errorText(int err) {
  char text[256];
  return strError(err, text, sizeof(text)) ? text : "Unknown error";
}

}  // namespace

TEST(Exception, messageIsCutAtCharacterBoundary) {
  for (std::string character : {"a", "\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80"}) {
    for (int start = 250; start <= 256; start++) {
      SCOPED_TRACE(character + " at " + std::to_string(start));
      std::string text(start, 'x');
      text += character + "tail that does not fit";
      size_t kept = 255;
      if (kept > text.find(character) && kept < text.find(character) + character.size()) {
        kept = text.find(character);
      }
      EXPECT_EQ(Exception(text.c_str()).message, text.substr(0, kept));
      EXPECT_EQ(ExceptionFmt("%s", text.c_str()).message, text.substr(0, kept));
    }
  }
}

TEST(Exception, nullTextsCountAsEmpty) {
  EXPECT_STREQ(Exception(nullptr).message, "");
  EXPECT_STREQ(SystemException(nullptr, 0).message, "Success (0)");
  const char* noText = nullptr;
  EXPECT_STREQ(ExceptionFmt(noText).message, "");
  EXPECT_STREQ(AssertionFail(nullptr, nullptr, 1).appendDetail(noText).message,
               "Assertion '' failed at :1: ");
}

TEST(SystemException, suffixNamesTheError) {
  struct {
    const char* text;
    int err;
    std::string message;
  } cases[] = {
      {"", 0, "Success (0)"},
      {"read", 4, "read: " + errorText(EINTR) + " (4)"},
      {"", 2, errorText(ENOENT) + " (2)"},
      {"x", 99999, "x: Unknown error (99999)"},
      {"x", -1, "x: Unknown error (-1)"},
  };
  for (const auto& c : cases) {
    SystemException e(c.text, c.err);
    EXPECT_EQ(e.message, c.message);
    EXPECT_EQ(e.name, "System-" + std::to_string(c.err));
    EXPECT_EQ(e.err, c.err);
    EXPECT_EQ(SystemExceptionFmt("%s", c.err, c.text).message, c.message);
    errno = c.err;
    EXPECT_EQ(StdlibException("%s", c.text).message, c.message);
  }
}

TEST(SystemException, suffixStaysWithinTheMessage) {
  std::string error = errorText(ENOENT);
  for (size_t length = 200; length <= 260; length++) {
    SCOPED_TRACE(length);
    std::string text(length, 'x');
    std::string head = text.substr(0, 255) + (length < 255 ? ": " : "");
    head.resize(std::min<size_t>(head.size(), 255));
    // The platform's text goes in whole or not at all.
    std::string expected = head + (head.size() + error.size() <= 255 ? error : "Unknown error");
    expected += " (2)";
    EXPECT_EQ(SystemException(text.c_str(), ENOENT).message, expected.substr(0, 255));
  }
}

TEST(AssertionFail, messageHoldsPlaceAndDetail) {
  AssertionFail failure("p", "F", 95);
  EXPECT_STREQ(failure.name, "AssertionFail");
  EXPECT_STREQ(failure.message, "Assertion 'p' failed at F:95");
  EXPECT_STREQ(failure.appendDetail("%s", "x").message, "Assertion 'p' failed at F:95: x");
}

TEST(BadUtf8, isAnOrdinaryExceptionByDefault) {
  EXPECT_STREQ(BadUtf8("100%s").message, "100%s");
  EXPECT_STREQ(BadUtf8("%s and %d", "text", 7).message, "text and 7");
  EXPECT_STREQ(BadUtf8("x").name, "");
}

TEST(BadUtf8DeathTest, debuggingParameterMakesItFatal) {
  auto build = [] {
    Configuration::global().setParam("_badutf8assert", "on", 10);
    BadUtf8("bad %s", "text");
  };
  EXPECT_EXIT(build(), testing::KilledBySignal(SIGABRT),
              "^Assertion '0' failed at base/plat/Exception.cpp:[0-9]+: bad text\n$");
}
