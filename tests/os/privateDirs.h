#pragma once

#include <unistd.h>

#include <filesystem>
#include <string>

#include "base/os/AppInfo.h"
#include "base/os/LocalPrivateDir.h"

// Private directories lie in the base directory for everyone; these belong to this
// process alone and are removed at its end.
class PrivateDirs {
 public:
  PrivateDirs() { os::AppInfo::set("print", "Quenfor", pathComp.c_str()); }
  ~PrivateDirs() {
    for (const auto& entry : std::filesystem::directory_iterator(os::LocalPrivateDir::baseDir()))
      if (entry.path().string().starts_with(of(""))) std::filesystem::remove_all(entry.path());
  }
  std::string of(const std::string& user) const {
    return os::LocalPrivateDir::baseDir() + ("/." + pathComp + "-" + user);
  }

 private:
  const std::string pathComp = "qolt-test" + std::to_string(getpid());
};
