#include "base/io/endpointName.h"

#include <cstdint>
#include <cstring>

#include "base/loc/LString.h"
#include "base/plat/DString.h"
#include "base/plat/NumUtil.h"
#include "base/plat/percentEncode.h"
#include "base/plat/utf8.h"
#include "base/rdr/MemOutStream.h"
#include "base/rdr/StringWriter.h"

namespace io {

namespace {

constexpr char badEscape[] = "io_error_endpoint_badescape";
constexpr char badPort[] = "io_error_endpoint_badport";
constexpr char badBracket[] = "io_error_endpoint_bracket";
constexpr char emptyName[] = "io_error_endpoint_empty";
constexpr char general[] = "io_error_endpoint_general";

bool isComponentByte(unsigned char byte) {
  return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
         (byte >= '0' && byte <= '9') || byte >= 128 || strchr(" !$&'()*+,-.;=_~", byte);
}

// Where the host part ends.
const char* findHostEnd(const char* name) {
  if (*name != '[') return name + strcspn(name, ":");
  const char* bracket = strchr(name, ']');
  if (!bracket) throw EndpointInvalid(badBracket);
  if (bracket == name + 1) throw EndpointInvalid(emptyName);
  return bracket + 1;
}

// The text behind the colons.
int parsePort(const char* text, bool isPortNumber, int defaultPort, int displayRange) {
  int64_t port = defaultPort;
  if (*text) {
    int number;
    if (!plat::strToInt(&number, &text, 10) || *text) throw EndpointInvalid(badPort);
    port = number;
    if (!isPortNumber && defaultPort >= 0) {
      if (number < 0) throw EndpointInvalid(badPort);
      if (number < displayRange) port += defaultPort;
    }
  }
  if (port < 1 || port > 65535) throw EndpointInvalid(badPort);
  return static_cast<int>(port);
}

}  // namespace

EndpointInvalid::EndpointInvalid(const char* key)
    : Exception(loc::LString(key).get(), "EndpointInvalid") {}

void parseEndpoint(const char* name, plat::String* host, int* port, int defaultPort,
                   int displayRange) {
  const plat::String copy(name);  // the name may be the old host's
  *host = plat::String();
  name = copy.orEmpty();
  if (!*name && defaultPort < 0) throw EndpointInvalid(emptyName);

  const char* hostEnd = findHostEnd(name);
  if (*hostEnd && *hostEnd != ':') throw EndpointInvalid(general);
  const bool isPortNumber = plat::startsWith(hostEnd, "::");
  const char* portText = hostEnd + (isPortNumber ? 2 : *hostEnd ? 1 : 0);
  if (!port && *portText) throw EndpointInvalid(badPort);
  const int parsedPort = port ? parsePort(portText, isPortNumber, defaultPort, displayRange) : 0;

  const char* inside = *name == '[' ? name + 1 : name;
  const char* insideEnd = *name == '[' ? hostEnd - 1 : hostEnd;
  if (plat::contains(inside, insideEnd, '[') || plat::contains(inside, insideEnd, ']')) {
    throw EndpointInvalid(general);
  }
  *host = hostEnd == name ? plat::String("localhost")
                          : plat::strDup(name, static_cast<int>(hostEnd - name));
  if (port) *port = parsedPort;
}

plat::String formatEndpoint(const char* host, int port, int defaultPort, int displayRange) {
  plat::DString name(bracketHost(host).orEmpty());
  const int64_t display = int64_t{port} - defaultPort;
  if (display == 0) return name.release();
  if (displayRange == 0) {
    name.appendFormat(":%d", port);
  } else if (defaultPort >= 0 && display > 0 && display < displayRange) {
    name.appendFormat(":%d", static_cast<int>(display));
  } else {
    name.appendFormat("::%d", port);
  }
  return name.release();
}

plat::String bracketHost(const char* host) {
  if (!host || *host == '[' || !strchr(host, ':')) return plat::String(host);
  return plat::strFormat("[%s]", host);
}

plat::String unbracketHost(const char* host) {
  if (!host || *host != '[') return plat::String(host);
  if (!plat::endsWith(host, "]")) throw EndpointInvalid(badBracket);
  return plat::strDup(host + 1, plat::strLen(host) - 2);
}

plat::String escapeComponent(const char* text) {
  rdr::MemOutStream escaped(128);
  rdr::StringWriter writer(escaped);
  for (; text && *text; text++) {
    unsigned char byte = static_cast<unsigned char>(*text);
    if (isComponentByte(byte)) {
      writer.append(text, 1);
    } else {
      writer.appendf("%%%.2X", byte);
    }
  }
  return escaped.takeText();
}

plat::String unescapeComponent(const char* text, bool plusIsSpace) {
  if (!text) return plat::String();
  if (strstr(text, "%00")) throw EndpointInvalid(badEscape);
  try {
    return plat::fixUtf8(plat::percentDecode(text, plusIsSpace).get());
  } catch (const plat::Exception&) {
    throw EndpointInvalid(badEscape);
  }
}

}  // namespace io
