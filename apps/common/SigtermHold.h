#pragma once

#include <csignal>

#include "base/plat/NonCopyable.h"

// Holds SIGTERM back; one that arrives meanwhile is delivered at destruction.
class SigtermHold : private plat::NonCopyable {
 public:
  SigtermHold();
  ~SigtermHold();

  // The signals that were held back before.
  const sigset_t& before() const { return before_; }

 private:
  sigset_t before_;
};
