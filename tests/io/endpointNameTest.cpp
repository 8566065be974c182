#include "base/io/endpointName.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "tests/support/thrownBy.h"

namespace {

const char badPort[] = "EndpointInvalid: Invalid endpoint: port not correctly specified";
const char noHost[] = "EndpointInvalid: Invalid endpoint: empty host and/or port";
const char noBracket[] = "EndpointInvalid: Invalid endpoint: unmatched \"[\" in host";
const char general[] = "EndpointInvalid: Invalid endpoint";

// "<host> <port>", or the refusal.
std::string parsed(const char* name, int defaultPort, int displayRange) {
  plat::String host("old");
  int port = -7;
  const std::string refused =
      fakes::thrownBy([&] { io::parseEndpoint(name, &host, &port, defaultPort, displayRange); });
  EXPECT_TRUE(refused.empty() || (host.isNull() && port == -7)) << name;
  return refused.empty() ? host.get() + (" " + std::to_string(port)) : refused;
}

TEST(endpointName, parseEndpointSplitsOrRefusesTheWholeName) {
  const std::pair<const char*, const char*> rows[] = {
      {"host", "host 100"},   {"host:", "host 100"},      {"host:0", "host 100"},
      {"host:9", "host 109"}, {"host: 9", "host 109"},    {"host:10", "host 10"},
      {"host::9", "host 9"},  {"host::", "host 100"},     {"host::65535", "host 65535"},
      {"::1", "localhost 1"}, {nullptr, "localhost 100"}, {"[::1]:2", "[::1] 102"},
      {"[::1", noBracket},    {"[]:1", noHost},
  };
  for (const auto& [name, result] : rows) EXPECT_EQ(parsed(name, 100, 10), result);
  // The last port would be 80, were it cut to 32 bits.
  for (const char* name : {"h:x", "h:1x", "h:1:2", "h:-1", "h::0", "h::65536", "h::4294967376"}) {
    EXPECT_EQ(parsed(name, 100, 10), badPort) << name;
  }
  for (const char* name : {"[::1]2", "a[b", "a]b", "[a[b]"}) EXPECT_EQ(parsed(name, 1, 1), general);
  for (const char* name : {"h", "h:-1"}) EXPECT_EQ(parsed(name, -1, 10), badPort);
  EXPECT_EQ(parsed("h:-7", 100, -5), badPort);
  EXPECT_EQ(parsed("h:2147483647", 2147483647, 2147483647), badPort);
  EXPECT_EQ(parsed("h", 0, 10), badPort);
  EXPECT_EQ(parsed(":1", 0, 10), "localhost 1");
  EXPECT_EQ(parsed("h:5", -1, 10), "h 5");
  EXPECT_EQ(parsed("", -1, 10), noHost);
  plat::String host("a-host-with-a-name");  // which may be the name
  io::parseEndpoint(host.get(), &host, nullptr, -1, 0);
  EXPECT_STREQ(host.get(), "a-host-with-a-name");
  EXPECT_EQ(fakes::thrownBy([&] { io::parseEndpoint("h:1", &host, nullptr, 100, 10); }), badPort);
}

TEST(endpointName, formatEndpointPutsTheShortestPortBehindTheBracketedHost) {
  const std::tuple<const char*, int, int, int, const char*> rows[] = {
      {"::1", 100, 100, 10, "[::1]"},      {"::1", 101, 100, 10, "[::1]:1"},
      {"::1", 80, 100, 10, "[::1]::80"},   {"host", 109, 100, 10, "host:9"},
      {"host", 110, 100, 10, "host::110"}, {"host", 101, 100, 0, "host:101"},
      {"[::1]", 5, -1, 10, "[::1]::5"},    {"host", 65535, 65530, 2147483647, "host:5"},
      {"host", 5, 0, 10, "host:5"},
  };
  for (const auto& [host, port, defaultPort, displayRange, name] : rows) {
    EXPECT_STREQ(io::formatEndpoint(host, port, defaultPort, displayRange).get(), name);
  }
  EXPECT_STREQ(io::unbracketHost("[::1]").get(), "::1");
  EXPECT_EQ(fakes::thrownBy([] { io::unbracketHost("[::1"); }), noBracket);
}

TEST(endpointName, componentsAreEscapedAndBack) {
  const std::string all = "\x01\x1f !\"#$%&'()*+,-./09:;<=>?@AZ[\\]^_`az{|}~\x7f\u00e4\u20ac";
  const std::string escaped =
      "%01%1F "
      "!%22%23$%25&'()*+,-.%2F09%3A;%3C=%3E%3F%40AZ%5B%5C%5D%5E_%60az%7B%7C%7D~%7F\u00e4\u20ac";
  EXPECT_EQ(io::escapeComponent(all.c_str()).get(), escaped);
  EXPECT_EQ(io::unescapeComponent(escaped.c_str(), false).get(), all);
  EXPECT_STREQ(io::escapeComponent(nullptr).get(), "");
  EXPECT_TRUE(io::unescapeComponent(nullptr, true).isNull());
  EXPECT_STREQ(io::unescapeComponent("a+b%2b%ff", true).get(), "a b+\xef\xbf\xbd");
  for (const char* text : {"%4", "%", "%%", "%g0", "a%00b"}) {
    EXPECT_EQ(fakes::thrownBy([=] { io::unescapeComponent(text, false); }),
              general + std::string(": incorrect %% escape"));
  }
}

}  // namespace
