#include "apps/common/backend.h"

#include <csignal>

#include "apps/common/standardStreams.h"
#include "base/os/AppInfo.h"

namespace job {

void startBackend() {
  os::AppInfo::set("print", "Quenfor", "qolt", nullptr, nullptr);
  occupyStandardStreams();
  // A broken pipe is an error of the write like any other, which cleans up.
  signal(SIGPIPE, SIG_IGN);
}

}  // namespace job
