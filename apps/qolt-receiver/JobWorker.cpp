#include "apps/qolt-receiver/JobWorker.h"

#include <exception>
#include <mutex>
#include <utility>

#include "base/plat/LogSrc.h"

namespace receiver {

static constinit plat::LogSrc log("JobWorker");
static const plat::LogSrc::Listed listed(log);

using Lock = std::unique_lock<plat::RecursiveMutex>;

JobWorker::JobWorker(JobTaker newTaker, JobTaker::DocumentStored newCallback)
    : taker(std::move(newTaker)),
      callback(std::move(newCallback)),
      kicker(this),
      thread([this] { run(); }) {}

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
    jobs.push_back(std::move(descriptionPath));
  }
  changed.notify_one();
}

void JobWorker::kicked(io::FdKicker*) {
  kicker.drain();
  tellStored();
}

void JobWorker::run() {
  for (plat::String job = nextJob(); !job.isNull(); job = nextJob()) {
    try {
      taker.take(job.get(), [this](const std::string& path) {
        {
          Lock lock(mutex);
          stored.push_back(path);
        }
        kicker.kick(0);
      });
    } catch (const plat::Exception& problem) {
      log.error("%s", problem.message);
    } catch (const std::exception& problem) {
      log.error("%s: %s", job.get(), problem.what());
    }
  }
}

// Null when there is none any more.
plat::String JobWorker::nextJob() {
  Lock lock(mutex);
  changed.wait(lock, [this] { return stopping || !jobs.empty(); });
  if (jobs.empty()) return plat::String();
  plat::String job = std::move(jobs.front());
  jobs.pop_front();
  return job;
}

void JobWorker::tellStored() {
  std::vector<std::string> taken;
  {
    Lock lock(mutex);
    taken.swap(stored);
  }
  for (const std::string& path : taken) callback(path);
}

}  // namespace receiver
