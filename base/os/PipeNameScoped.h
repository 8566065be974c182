#pragma once

#include <cstdint>

#include "base/plat/String.h"

namespace os {

// File names of the local sockets in private directories,
// "<private directory>/<app>.<base>[.<id>[.<index>]]".
class PipeNameScoped {
 public:
  PipeNameScoped() = delete;

  // user as for LocalPrivateDir::get. app null: AppInfo's. id -1: the process id.
  // index below 0: none; 0: only together with an id other than 0.
  static plat::String name(const char* base, const char* user, const char* app, int64_t id,
                           int index);
  // Unlinks the sockets of that app (null: AppInfo's) and base where nothing
  // listens: those of the effective user, and as the superuser those of everyone.
  static void removeStale(const char* base, const char* app);
};

}  // namespace os
