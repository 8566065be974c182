#include "base/io/endpointName.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

// "<host> <port>", or the message without "Invalid endpoint".
std::string parsed(const char* name, int defaultPort, int displayRange, bool withPort = true) {
  plat::String host("old");
  int port = -7;
  try {
    io::parseEndpoint(name, &host, withPort ? &port : nullptr, defaultPort, displayRange);
  } catch (const io::EndpointInvalid& e) {
    EXPECT_TRUE(host.isNull());
    EXPECT_EQ(port, -7);
    return std::string(e.message).substr(strlen("Invalid endpoint"));
  }
  return std::string(host.orEmpty()) + " " + std::to_string(port);
}

const char badPort[] = ": port not correctly specified";
const char badBracket[] = ": unmatched \"[\" in host";
const char empty[] = ": empty host and/or port";
const char general[] = "";

TEST(endpointName, escapeComponentEscapesWhatAnEndpointNameCannotHold) {
  EXPECT_STREQ(io::escapeComponent("a b/c:d[%]").get(), "a b%2Fc%3Ad%5B%25%5D");
  EXPECT_STREQ(io::escapeComponent(nullptr).get(), "");
}

TEST(endpointName, parseEndpointWithADefaultPort) {
  const struct {
    const char* name;
    const char* result;
  } cases[] = {
      {"host", "host 100"},       {"host:9", "host 109"},
      {"host:10", "host 10"},     {"host::65535", "host 65535"},
      {nullptr, "localhost 100"}, {"::1", "localhost 1"},
      {"[::1]:2", "[::1] 102"},   {"host:x", badPort},
      {"host:1x", badPort},       {"host::0", badPort},
      {"host::65536", badPort},   {"host::4294967376", badPort},  // 80, were it cut to 32 bits
      {"host:1:2", badPort},      {"[::1", badBracket},
      {"[::1]2", general},        {"a[b", general},
      {"[a[b]", general},         {"host: 9", "host 109"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(parsed(test.name, 100, 10), test.result) << (test.name ? test.name : "null");
  }
}

TEST(endpointName, nameMayBeTheHostsOldText) {
  plat::String host("a-host-with-a-name:1");
  int port;
  io::parseEndpoint(host.get(), &host, &port, 100, 10);
  EXPECT_STREQ(host.get(), "a-host-with-a-name");
}

TEST(endpointName, parseEndpointWithoutDefaultOrWithoutPort) {
  EXPECT_EQ(parsed("host:5", -1, 10), "host 5");
  EXPECT_EQ(parsed("host", -1, 10), badPort);
  EXPECT_EQ(parsed("", -1, 10), empty);
  EXPECT_EQ(parsed("host:2147483647", 2147483647, 2147483647), badPort);

  EXPECT_EQ(parsed("", -1, 10, false), empty);
  EXPECT_EQ(parsed("host:1", 100, 10, false), badPort);
}

TEST(endpointName, formatEndpointGivesWhatParsesToTheSame) {
  const struct {
    const char* host;
    int port, defaultPort, displayRange;
    const char* name;
  } cases[] = {
      {"::1", 101, 100, 10, "[::1]:1"},    {"::1", 80, 100, 10, "[::1]::80"},
      {"host", 110, 100, 10, "host::110"}, {"host", 101, 100, 0, "host:101"},
      {"[::1]", 5, -1, 10, "[::1]::5"},    {"host", 65535, 65530, 2147483647, "host:5"},
  };
  for (const auto& test : cases) {
    const plat::String name =
        io::formatEndpoint(test.host, test.port, test.defaultPort, test.displayRange);
    EXPECT_STREQ(name.get(), test.name);
    plat::String host;
    int port;
    io::parseEndpoint(name.get(), &host, &port, test.defaultPort, test.displayRange);
    EXPECT_STREQ(host.get(), io::bracketHost(test.host).get());
    EXPECT_EQ(port, test.port) << test.name;
  }
}

TEST(endpointName, unbracketHostTakesAWholePairOnly) {
  for (const char* host : {"host", "::1"}) {
    EXPECT_STREQ(io::unbracketHost(io::bracketHost(host).get()).get(), host);
  }
  EXPECT_THROW(io::unbracketHost("[::1"), io::EndpointInvalid);
}

TEST(endpointName, unescapeComponentUndoesTheEscapes) {
  std::string all;
  for (int byte = 1; byte < 128; byte++) all += static_cast<char>(byte);
  all += "\u00e4\u20ac";
  EXPECT_EQ(io::unescapeComponent(io::escapeComponent(all.c_str()).get(), false).get(), all);
  EXPECT_STREQ(io::unescapeComponent("a+b%2b", true).get(), "a b+");
  EXPECT_STREQ(io::unescapeComponent("a%ff", false).get(), "a\xef\xbf\xbd");
  for (const char* text : {"%4", "%", "%%", "%g0", "a%00b"}) {
    EXPECT_THROW(io::unescapeComponent(text, false), io::EndpointInvalid) << text;
  }
}

}  // namespace
