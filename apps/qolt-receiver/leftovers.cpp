#include "apps/qolt-receiver/leftovers.h"

#include <unistd.h>

#include <algorithm>
#include <set>
#include <string>
#include <utility>

#include "apps/common/jobNames.h"
#include "apps/qolt-receiver/DescriptionFile.h"
#include "apps/qolt-receiver/openJobFile.h"
#include "base/plat/Exception.h"
#include "base/plat/FilePtr.h"
#include "base/plat/LogSrc.h"
#include "base/plat/file.h"

namespace receiver {

static constinit plat::LogSrc log("leftovers");
static const plat::LogSrc::Listed listed(log);

namespace {

// A backend announces a job within milliseconds of writing its description, unless the server
// does not take connections; then it withdraws it.
constexpr plat::Ticks freshTicks = 2000 * plat::ticksPerMs;

// Of no file any more: the end of all time.
plat::Ticks timeOf(const char* path) {
  try {
    return plat::fileGetTime(path);
  } catch (const plat::SystemException&) {
    return INT64_MAX;
  }
}

std::vector<std::pair<plat::Ticks, plat::String>> descriptions() {
  std::vector<std::pair<plat::Ticks, plat::String>> found;
  for (plat::String& file : job::filesOf(geteuid())) {
    if (job::isDescription(file.get())) found.emplace_back(timeOf(file.get()), std::move(file));
  }
  std::sort(found.begin(), found.end(), [](const auto& one, const auto& other) {
    return one.first != other.first ? one.first < other.first
                                    : plat::LessString()(one.second, other.second);
  });
  return found;
}

}  // namespace

std::vector<LeftJob> leftJobs() {
  std::vector<LeftJob> jobs;
  for (auto& [time, path] : descriptions()) {
    jobs.push_back({std::move(path), time > plat::now() - freshTicks});
  }
  return jobs;
}

void removeOrphans(int maxAgeHours) {
  std::set<std::string> wanted, prefixes;
  for (const auto& [time, path] : descriptions()) {
    prefixes.insert(job::prefixOf(job::idOf(path.get()).get()).get());
    try {
      plat::FilePtr file = openJobFile(path.get());
      const DescriptionFile job = DescriptionFile::read(file);
      wanted.insert(job.documents.begin(), job.documents.end());
    } catch (const plat::Exception&) {
      // Its own files stay, as it does.
    }
  }
  const plat::Ticks oldest = plat::now() - maxAgeHours * (plat::ticksPerDay / 24);
  for (const plat::String& file : job::filesOf(geteuid())) {
    const plat::String prefix = job::prefixOfDocument(file.get());
    if (prefix.isNull() || prefixes.count(prefix.get()) || wanted.count(file.get()) ||
        timeOf(file.get()) >= oldest) {
      continue;
    }
    log.info("%s belongs to no job and is old: removed", file.get());
    plat::fileRemove(file.get());
  }
}

}  // namespace receiver
