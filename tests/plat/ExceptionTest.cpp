#include "base/plat/Exception.h"

#include <gtest/gtest.h>

#include <string>

using namespace plat;

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
