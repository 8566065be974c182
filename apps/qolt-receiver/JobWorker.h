#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <thread>
#include <vector>

#include "apps/qolt-receiver/JobTaker.h"
#include "base/io/unix/FdKicker.h"
#include "base/plat/String.h"
#include "base/plat/unix/RecursiveMutex.h"

namespace receiver {

// Takes jobs one after another on a thread of its own, so that a long one costs the connections
// nothing: first those that an earlier process had begun, then those that have been left in /tmp,
// then those that are announced. One that cannot be taken is tried again, after a pause that
// doubles from 2 s up to ten minutes. All else belongs to the thread that made it, which has a
// current io::FdManager.
class JobWorker : private io::FdKickerCallback, private plat::NonCopyable {
 public:
  struct Left {
    bool isWanted = true;  // whether what lies in /tmp is taken at the start
    int orphanHours = 24;  // what belongs to no job goes when it is older; 0: it stays
  };
  using DocumentStored = std::function<void(const Document& document)>;

  // The callback is told of every document with a command, on the thread that made this. The
  // thread inherits the signal mask.
  JobWorker(JobTaker newTaker, const std::vector<TakenJob*>& begun, Left newLeft,
            DocumentStored newCallback);
  // Returns when every job that was announced has been taken and told, or has failed.
  ~JobWorker() override;

  void add(plat::String descriptionPath);

 private:
  struct Job {
    plat::String description;
    bool isAnnounced;
  };

  void kicked(io::FdKicker*) override;
  void run(const std::vector<TakenJob*>& begun);
  void finishBegun(const std::vector<TakenJob*>& begun);
  void findLeft();
  bool nextJob(Job* job);
  template <class Action>
  void attempt(const plat::String& description, Action action);
  void take(const Job& job);
  void tell(const std::vector<Document>& documents);
  void tellStored();

  JobTaker taker;
  Left left;
  DocumentStored callback;
  io::FdKicker kicker;

  plat::RecursiveMutex mutex;  // guards the following
  std::condition_variable_any changed;
  std::deque<Job> jobs;
  std::deque<Job> failed;        // to be tried again
  int pauseS;                    // until then
  std::vector<Document> stored;  // still to be told
  bool stopping = false;

  std::thread thread;  // last: it uses the others
};

}  // namespace receiver
