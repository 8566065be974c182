#include "apps/qolt-receiver/JobWorker.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <mutex>
#include <utility>

#include "apps/qolt-receiver/leftovers.h"
#include "base/plat/LogSrc.h"

namespace receiver {

static constinit plat::LogSrc log("JobWorker");
static const plat::LogSrc::Listed listed(log);

using Lock = std::unique_lock<plat::RecursiveMutex>;

static constexpr int minPauseS = 2, maxPauseS = 600;

JobWorker::JobWorker(JobTaker newTaker, const std::vector<TakenJob*>& begun, Left newLeft,
                     DocumentStored newCallback)
    : taker(std::move(newTaker)),
      left(newLeft),
      callback(std::move(newCallback)),
      kicker(this),
      pauseS(minPauseS),
      thread([this, begun] { run(begun); }) {}

JobWorker::~JobWorker() {
  {
    Lock lock(mutex);
    stopping = true;
  }
  changed.notify_one();
  thread.join();
  tellStored();
}

void JobWorker::add(plat::String descriptionPath) {
  {
    Lock lock(mutex);
    std::erase_if(failed, [&](const Job& job) { return job.description == descriptionPath; });
    jobs.push_back({std::move(descriptionPath), true});
  }
  changed.notify_one();
}

void JobWorker::kicked(io::FdKicker*) {
  kicker.drain();
  tellStored();
}

void JobWorker::run(const std::vector<TakenJob*>& begun) {
  finishBegun(begun);
  if (left.isWanted) findLeft();
  for (Job job; nextJob(&job);) take(job);
}

// What fails is tried again as long as its description file is there.
template <class Action>
void JobWorker::attempt(const plat::String& description, Action action) {
  try {
    return action();
  } catch (const plat::Exception& problem) {
    log.error("%s", problem.message);
  } catch (const std::exception& problem) {
    log.error("%s: %s", description.get(), problem.what());
  }
  Lock lock(mutex);
  failed.push_back({description, false});
}

void JobWorker::finishBegun(const std::vector<TakenJob*>& begun) {
  for (TakenJob* job : begun) {
    attempt(plat::String(job->description.c_str()), [&] { tell(taker.finish(*job)); });
  }
  try {
    Lock lock(mutex);
    if (failed.empty()) taker.removeParts();
  } catch (const plat::Exception& problem) {
    log.error("%s", problem.message);
  }
}

void JobWorker::findLeft() {
  try {
    for (LeftJob& job : leftJobs()) {
      Lock lock(mutex);
      (job.isFresh ? failed : jobs).push_back({std::move(job.description), false});
    }
    if (left.orphanHours) removeOrphans(left.orphanHours);
  } catch (const plat::Exception& problem) {
    log.error("%s", problem.message);
  }
}

// False when there is none any more.
bool JobWorker::nextJob(Job* job) {
  Lock lock(mutex);
  const auto isReady = [this] { return stopping || !jobs.empty(); };
  if (failed.empty()) {
    changed.wait(lock, isReady);
  } else if (!changed.wait_for(lock, std::chrono::seconds(pauseS), isReady)) {
    jobs.swap(failed);
    pauseS = std::min(pauseS * 2, maxPauseS);
  }
  if (jobs.empty()) return false;
  *job = std::move(jobs.front());
  jobs.pop_front();
  return true;
}

void JobWorker::take(const Job& job) {
  attempt(job.description, [&] {
    try {
      tell(taker.take(job.description.get()));
      Lock lock(mutex);
      pauseS = minPauseS;
    } catch (const JobRefused& problem) {
      // What was found and not announced may have been taken away by its backend.
      const bool isNothing = problem.isGone && !job.isAnnounced;
      log.log(isNothing ? plat::logInfo : plat::logError, "%s", problem.message);
    }
  });
}

void JobWorker::tell(const std::vector<Document>& documents) {
  if (documents.empty()) return;
  {
    Lock lock(mutex);
    stored.insert(stored.end(), documents.begin(), documents.end());
  }
  kicker.kick(0);
}

void JobWorker::tellStored() {
  std::vector<Document> taken;
  {
    Lock lock(mutex);
    taken.swap(stored);
  }
  for (const Document& document : taken) callback(document);
}

}  // namespace receiver
