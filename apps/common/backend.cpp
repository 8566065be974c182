#include "apps/common/backend.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

#include "base/os/AppInfo.h"

namespace job {

// The number of a closed stream would go to a file of the job, or to the connection, and
// messages would land there. Reading still fails as from a closed one.
static void occupyStandardStreams() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    if (fcntl(fd, F_GETFD) < 0) open("/dev/null", O_WRONLY);
  }
}

void startBackend() {
  os::AppInfo::set("print", "Quenfor", "qolt", nullptr, nullptr);
  occupyStandardStreams();
  // A broken pipe is an error of the write like any other, which cleans up.
  signal(SIGPIPE, SIG_IGN);
}

}  // namespace job
