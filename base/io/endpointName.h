#pragma once

#include "base/plat/Exception.h"
#include "base/plat/String.h"

namespace io {

// The name of the far end of a connection:
//   endpoint := host? (":" display? | "::" port?)?
//   host     := "[" IPv6 address "]" | "[unix:" escaped path "]" | name or IPv4 address
// A display number below displayRange counts from defaultPort; from displayRange on, or
// without a default port (defaultPort < 0), it is a port itself.

// The message is localised.
class EndpointInvalid : public plat::Exception {
 public:
  explicit EndpointInvalid(const char* key);
};

// No host is "localhost". Ports are 1 to 65535. A null port refuses a name with one;
// otherwise a name without one gives the default, and without that is refused. Throws
// EndpointInvalid, with a null host and the port unchanged.
void parseEndpoint(const char* name, plat::String* host, int* port, int defaultPort,
                   int displayRange);
// The inverse; the default port is left out.
plat::String formatEndpoint(const char* host, int port, int defaultPort, int displayRange);

// Adds brackets to a host with a colon that has none.
plat::String bracketHost(const char* host);
// Throws EndpointInvalid when the closing one is missing.
plat::String unbracketHost(const char* host);

// One component of a local socket's path as it stands in an endpoint name: control
// characters and "#%/:<>?@[\]^`{|} become "%XX"; every other byte is kept.
plat::String escapeComponent(const char* text);
// The inverse, made valid UTF-8; null gives null. Throws EndpointInvalid, also for a
// "%00", which would cut the text short.
plat::String unescapeComponent(const char* text, bool plusIsSpace);

}  // namespace io
