#include "base/io/endpointName.h"

#include <cstring>

#include "base/plat/utf8.h"
#include "fuzz/fuzz.h"

static void checkName(const char* name, int defaultPort, int displayRange) {
  plat::String host;
  int port = -1;
  if (fuzz::isRefused([&] { io::parseEndpoint(name, &host, &port, defaultPort, displayRange); })) {
    PLAT_ASSERT(host.isNull() && port == -1);
    return;
  }
  PLAT_ASSERT(!host.isEmpty() && port >= 1 && port <= 65535);
  const plat::String formatted = io::formatEndpoint(host.get(), port, defaultPort, displayRange);
  plat::String hostAgain;
  int portAgain;
  io::parseEndpoint(formatted.get(), &hostAgain, &portAgain, defaultPort, displayRange);
  PLAT_ASSERT(hostAgain == host && portAgain == port);
}

static void checkHost(const char* name) {
  plat::String host;
  fuzz::isRefused([&] { io::parseEndpoint(name, &host, nullptr, 1, 0); });
  fuzz::isRefused([&] {
    const plat::String bare = io::unbracketHost(name);
    PLAT_ASSERT(*name == '[' || bare == name);
    if (strchr(bare.get(), ':') && *bare.get() != '[') {
      PLAT_ASSERT(io::unbracketHost(io::bracketHost(bare.get()).get()) == bare);
    }
  });
}

static void checkComponent(const char* text, bool plusIsSpace) {
  const plat::String escaped = io::escapeComponent(text);
  for (const char* p = escaped.get(); *p; p++) {
    PLAT_ASSERT(!strchr("\"#/:<>?@[\\]^`{|}\x7f", *p) && static_cast<unsigned char>(*p) >= 0x20);
  }
  PLAT_ASSERT(io::unescapeComponent(escaped.get(), false) == plat::fixUtf8(text));
  fuzz::isRefused(
      [&] { PLAT_ASSERT(plat::isValidUtf8(io::unescapeComponent(text, plusIsSpace).get())); });
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const bool option = input.flag();
  const int defaultPort = input.number(-1, 65535);
  const int displayRange = input.number(-1, 70000);
  const std::string name = input.rest();
  checkName(name.c_str(), defaultPort, displayRange);
  checkName(name.c_str(), 5900, 100);
  checkHost(name.c_str());
  checkComponent(name.c_str(), option);
  return 0;
}
