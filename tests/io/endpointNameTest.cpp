#include "base/io/endpointName.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(endpointName, escapeComponentEscapesOnlyWhatAnEndpointNameCannotHold) {
  EXPECT_STREQ(io::escapeComponent("a b/c:d").get(), "a b%2Fc%3Ad");
  EXPECT_STREQ(io::escapeComponent("").get(), "");
  EXPECT_STREQ(io::escapeComponent(nullptr).get(), "");

  // Beyond its first buffer.
  std::string slashes(1000, '/'), expected;
  for (int i = 0; i < 1000; i++) expected += "%2F";
  EXPECT_EQ(io::escapeComponent(slashes.c_str()).get(), expected);

  const std::string escaped = "\"#%/:<>?@[\\]^`{|}\x7f";
  for (int byte = 1; byte < 256; byte++) {
    std::string text(1, static_cast<char>(byte));
    char hex[8];
    snprintf(hex, sizeof hex, "%%%02X", byte);
    bool special = byte < 32 || escaped.find(text) != std::string::npos;
    EXPECT_EQ(io::escapeComponent(text.c_str()).get(), special ? hex : text) << byte;
  }
}

}  // namespace
