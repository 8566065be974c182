#pragma once

#include <condition_variable>
#include <deque>
#include <string>
#include <thread>
#include <vector>

#include "apps/qolt-receiver/JobTaker.h"
#include "base/io/unix/FdKicker.h"
#include "base/plat/String.h"
#include "base/plat/unix/RecursiveMutex.h"

namespace receiver {

// Takes announced jobs one after another on a thread of its own, so that a long one costs
// the connections nothing. All else belongs to the thread that made it, which has a current
// io::FdManager.
class JobWorker : private io::FdKickerCallback, private plat::NonCopyable {
 public:
  // The callback is told of every stored document, on the thread that made this. The thread
  // inherits the signal mask.
  JobWorker(JobTaker newTaker, JobTaker::DocumentStored newCallback);
  // Returns when every job that was announced has been taken and told.
  ~JobWorker() override;

  void add(plat::String descriptionPath);

 private:
  void kicked(io::FdKicker*) override;
  void run();
  plat::String nextJob();
  void tellStored();

  JobTaker taker;
  JobTaker::DocumentStored callback;
  io::FdKicker kicker;

  plat::RecursiveMutex mutex;  // guards the following
  std::condition_variable_any changed;
  std::deque<plat::String> jobs;
  std::vector<std::string> stored;  // still to be told
  bool stopping = false;

  std::thread thread;  // last: it uses the others
};

}  // namespace receiver
