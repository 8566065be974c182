#include "apps/common/standardStreams.h"

#include <fcntl.h>
#include <unistd.h>

namespace job {

void occupyStandardStreams() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    if (fcntl(fd, F_GETFD) < 0) open("/dev/null", O_WRONLY);
  }
}

}  // namespace job
