#pragma once

#include "base/plat/String.h"

namespace plat {

// Data that is compiled into the program, found by name. From any thread.

struct Resource {
  const void* data = nullptr;
  int size = 0;  // bytes
};

// The data is borrowed for good. A resource of the same name is replaced.
void registerResource(const char* name, const void* data, int size);
// Null and 0 for a name that is not registered.
Resource getResource(const char* name);

}  // namespace plat
