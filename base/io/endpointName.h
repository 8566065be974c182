#pragma once

#include "base/plat/String.h"

namespace io {

// One component of a local socket's path as it stands in an endpoint name: control
// characters and "#%/:<>?@[\]^`{|} become "%XX"; every other byte is kept.
plat::String escapeComponent(const char* text);

}  // namespace io
