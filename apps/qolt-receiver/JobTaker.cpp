#include "apps/qolt-receiver/JobTaker.h"

#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

#include "apps/common/jobNames.h"
#include "apps/common/writePng.h"
#include "apps/qolt-receiver/DescriptionFile.h"
#include "apps/qolt-receiver/openJobFile.h"
#include "apps/qolt-receiver/pdfDocuments.h"
#include "base/plat/Exception.h"
#include "base/plat/LogSrc.h"
#include "base/plat/file.h"
#include "base/plat/time.h"

namespace receiver {

static constinit plat::LogSrc log("JobTaker");
static const plat::LogSrc::Listed listed(log);

namespace {

// Another file of the same name has another one.
std::string identityOf(int fd) {
  struct stat status;
  if (fstat(fd, &status) < 0) throw plat::SystemException("fstat", errno);
  return std::to_string(status.st_dev) + "." + std::to_string(status.st_ino) + "." +
         std::to_string(status.st_mtim.tv_sec) + "." + std::to_string(status.st_mtim.tv_nsec);
}

plat::FilePtr openDescription(const char* path) {
  try {
    return openJobFile(path);
  } catch (const plat::SystemException& problem) {
    if (problem.err == ENOENT) throw JobRefused(problem.message, true);
    throw;
  } catch (const plat::Exception& problem) {
    throw JobRefused(problem.message, false);
  }
}

DescriptionFile parse(plat::FilePtr& file) {
  try {
    return DescriptionFile::read(file);
  } catch (const plat::SystemException&) {
    throw;
  } catch (const plat::Exception& problem) {
    throw JobRefused(problem.message, false);
  }
}

// Whether it is being stored right now. One that is older may have been made so by the clock.
bool isBeingStored(const char* document, plat::Ticks described) {
  constexpr plat::Ticks fresh = 60 * plat::ticksPerSecond;
  const plat::Ticks time = plat::fileGetTime(document), now = plat::now();
  return time > described && time <= now && time > now - fresh;
}

// What has been read of a job that is being printed once more may be of both. The backend removes
// the description before it makes pages, but after it has stored a document as a whole.
bool isPrintedAgain(const DescriptionFile& job, const char* descriptionPath,
                    const std::string& identity) {
  if (!plat::fileExists(descriptionPath)) return true;
  const plat::FilePtr file = openJobFile(descriptionPath);
  if (identityOf(fileno(file.get())) != identity) return true;
  const plat::Ticks described = plat::fileGetTime(descriptionPath);
  return std::any_of(job.documents.begin(), job.documents.end(), [&](const std::string& document) {
    return isBeingStored(document.c_str(), described);
  });
}

// What a failure has left of them is tried again. A document that is younger than the description
// is of the same job, which is being printed once more and will be described then.
void removeFiles(const DescriptionFile& job, const std::string& descriptionPath) {
  const plat::Ticks described = plat::fileGetTime(descriptionPath.c_str());
  for (const std::string& document : job.documents) {
    const char* path = document.c_str();
    if (job::isJobFile(path) && plat::fileExists(path) && plat::fileGetTime(path) <= described) {
      plat::fileRemove(path);
    }
  }
  plat::fileRemove(descriptionPath.c_str());
}

long long sizeOf(FILE* file) {
  struct stat status;
  if (fstat(fileno(file), &status) < 0) throw plat::SystemException("fstat", errno);
  return status.st_size;
}

}  // namespace

JobTaker::JobTaker(OutputFolder newOutput, Journal& newJournal, JoinPages newJoinPages,
                   bool newHasCommand)
    : output(std::move(newOutput)),
      journal(&newJournal),
      joinPages(newJoinPages),
      hasCommand(newHasCommand) {}

std::vector<Document> JobTaker::take(const char* descriptionPath) {
  const plat::Ticks start = plat::monotonicNow();
  output.openAgain();
  plat::FilePtr file = openDescription(descriptionPath);
  // Two receivers of the account may find the same job left.
  if (flock(fileno(file.get()), LOCK_EX | LOCK_NB) < 0) {
    throw plat::SystemExceptionFmt("flock(%s)", errno, descriptionPath);
  }
  const std::string identity = identityOf(fileno(file.get()));
  for (TakenJob* job : journal->jobs()) {
    if (job->description == descriptionPath && job->identity == identity) return finish(*job);
  }

  const DescriptionFile job = parse(file);
  const std::string jobId = job::idOf(descriptionPath).get();
  TakenJob taken{descriptionPath, identity, {}};
  long long bytes = 0;
  TakenJob* added;
  try {
    writeParts(taken, job, jobId);
    if (isPrintedAgain(job, descriptionPath, identity)) {
      throw plat::ExceptionFmt("%s is being printed once more", descriptionPath);
    }
    for (const TakenJob::Part& part : taken.parts) {
      bytes += plat::fileGetSize(output.pathOf(part.name).c_str());
    }
    // A part that is missing counts as one that has got its name.
    output.sync();
    added = &journal->add(taken);
  } catch (...) {
    for (const TakenJob::Part& part : taken.parts) output.removePart(part.name);
    throw;
  }
  std::vector<Document> documents = finish(*added);
  log.info("job %s \"%s\" of %s: %zu documents, %lld bytes, %d ms", jobId.c_str(),
           job.title.c_str(), job.queue.c_str(), taken.parts.size(), bytes,
           static_cast<int>((plat::monotonicNow() - start) / plat::ticksPerMs));
  return documents;
}

std::vector<Document> JobTaker::finish(TakenJob& job) {
  for (TakenJob::Part& part : job.parts) {
    if (!output.has(part.name)) continue;
    while (!output.publish(part.name, part.document.path)) {
      journal->move(part.document, output.freePathLike(part.document.path));
    }
    printf("received %s\n", part.document.path.c_str());
  }
  output.sync();
  if (plat::fileExists(job.description.c_str())) {
    plat::FilePtr file = openJobFile(job.description.c_str());
    if (identityOf(fileno(file.get())) == job.identity) removeFiles(parse(file), job.description);
  }
  return journal->finish(job);
}

void JobTaker::writeParts(TakenJob& taken, const DescriptionFile& job, const std::string& jobId) {
  const bool hasPages = job.format->kind == job::DocumentKind::pages;
  if (job.documents.empty()) {
    log.error("warning: job %s has no pages", jobId.c_str());
  } else if (!hasPages || !joinPages || !addJoined(taken, job)) {
    for (size_t i = 0; i < job.documents.size(); i++) {
      hasPages ? addPage(taken, job, i) : addDocument(taken, job, i);
    }
  }
  for (TakenJob::Part& part : taken.parts) part.document.jobId = jobId;
}

template <class Write>
void JobTaker::addPart(TakenJob& taken, const DescriptionFile& job, size_t index,
                       const char* extension, bool forCommand, Write write) {
  Document document;
  document.path = output.freePath(documentStem(job.title, extension, index), extension);
  document.title = job.title;
  document.queue = job.queue;
  document.forCommand = hasCommand && forCommand;
  taken.parts.push_back({output.addPart(write), document});
}

void JobTaker::addPage(TakenJob& taken, const DescriptionFile& job, size_t index) {
  const char* path = job.documents[index].c_str();
  plat::FilePtr page = openJobFile(path);
  try {
    addPart(taken, job, index, "png", true,
            [&](FILE* picture) { png::writePng(page.get(), path, picture); });
    return;
  } catch (const plat::SystemException&) {
    throw;
  } catch (const plat::Exception& problem) {
    log.error("%s", problem.message);
  }
  addPart(taken, job, index, job.format->suffix, false,
          [&](FILE* copy) { copyRange(fileno(page.get()), 0, sizeOf(page.get()), copy); });
}

void JobTaker::addDocument(TakenJob& taken, const DescriptionFile& job, size_t index) {
  plat::FilePtr file = openJobFile(job.documents[index].c_str());
  const int fd = fileno(file.get());
  std::vector<off_t> ends{sizeOf(file.get())};
  if (job.format->kind == job::DocumentKind::pdf) ends = pdfDocumentEnds(fd);
  if (ends.back() == 0) log.error("warning: %s is empty", job.documents[index].c_str());
  off_t begin = 0;
  for (const off_t end : ends) {
    addPart(taken, job, index++, job.format->suffix, end > 0,
            [&](FILE* part) { copyRange(fd, begin, end, part); });
    begin = end;
  }
}

// False when the pages cannot be joined.
bool JobTaker::addJoined(TakenJob& taken, const DescriptionFile& job) {
  try {
    addPart(taken, job, 0, "pdf", true,
            [&](FILE* document) { joinPages(job.documents, job.title, document); });
  } catch (const plat::SystemException&) {
    throw;
  } catch (const plat::Exception& problem) {
    log.error("pages not joined: %s", problem.message);
    return false;
  }
  return true;
}

}  // namespace receiver
