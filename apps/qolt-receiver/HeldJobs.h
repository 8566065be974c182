#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "base/plat/NonCopyable.h"

namespace receiver {

// Has the scheduler of this machine print what waits for an endpoint of this account: jobs that
// were printed while nobody received, which their backend put on hold. One that its owner has held
// himself, before it was ever tried, stays so. Looks when it is made, since it is made when
// somebody receives again, and then every minute: a job may just have been on its way. On a thread
// of its own, because a scheduler may be slow; it inherits the signal mask. No scheduler is no
// error.
class HeldJobs : private plat::NonCopyable {
 public:
  explicit HeldJobs(std::string newEndpointName);
  // Waits for what it has just begun; a scheduler that does not answer costs a few seconds.
  ~HeldJobs();

 private:
  void run();

  std::string endpointName;
  std::mutex mutex;  // guards the following
  std::condition_variable changed;
  bool stopping = false;

  std::thread thread;  // last: it uses the others
};

}  // namespace receiver
