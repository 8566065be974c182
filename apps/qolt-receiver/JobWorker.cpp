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

// Throws nothing; what fails is tried again as long as its description file is there.
void JobWorker::finishBegun(const std::vector<TakenJob*>& begun) {
  bool isAll = true;
  for (TakenJob* job : begun) {
    try {
      tell(taker.finish(*job));
    } catch (const plat::Exception& problem) {
      log.error("%s", problem.message);
      isAll = false;
      Lock lock(mutex);
      failed.push_back({plat::String(job->description.c_str()), false});
    }
  }
  try {
    if (isAll) taker.removeParts();
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
  try {
    tell(taker.take(job.description.get()));
    Lock lock(mutex);
    pauseS = minPauseS;
    return;
  } catch (const JobRefused& problem) {
    // Of what was found and not announced, its backend may have taken it away.
    log.log(job.isAnnounced ? plat::logError : plat::logInfo, "%s", problem.message);
    return;
  } catch (const plat::Exception& problem) {
    log.error("%s", problem.message);
  } catch (const std::exception& problem) {
    log.error("%s: %s", job.description.get(), problem.what());
  }
  Lock lock(mutex);
  failed.push_back({job.description, false});
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
