#include "apps/common/SigtermHold.h"

SigtermHold::SigtermHold() {
  sigset_t held;
  sigemptyset(&held);
  sigaddset(&held, SIGTERM);
  sigprocmask(SIG_BLOCK, &held, &before_);
}

SigtermHold::~SigtermHold() {
  sigprocmask(SIG_SETMASK, &before_, nullptr);
}
