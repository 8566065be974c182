#include "apps/qolt-receiver/JobTaker.h"

#include <cstdio>

#include "apps/common/writePng.h"
#include "apps/qolt-receiver/DescriptionFile.h"
#include "apps/qolt-receiver/openJobFile.h"
#include "apps/qolt-receiver/pdfDocuments.h"
#include "base/plat/Exception.h"
#include "base/plat/LogSrc.h"
#include "base/plat/file.h"

namespace receiver {

static constinit plat::LogSrc log("JobTaker");
static const plat::LogSrc::Listed listed(log);

namespace {

DescriptionFile readDescription(const char* path) {
  plat::MBuf<unsigned char> text = openJobFile(path).readAll(maxDescriptionSize);
  return DescriptionFile::parse(
      {reinterpret_cast<const char*>(text.data()), static_cast<size_t>(text.size())});
}

}  // namespace

JobTaker::JobTaker(const char* outputPath, JoinPages newJoinPages)
    : output(outputPath), joinPages(newJoinPages) {}

void JobTaker::take(const char* descriptionPath, const DocumentStored& documentStored) {
  const DescriptionFile job = readDescription(descriptionPath);
  auto tell = [&](const std::string& place) {
    printf("received %s\n", place.c_str());
    documentStored(place);
  };
  const bool hasPages = job.format->kind == job::DocumentKind::pages;
  std::string joined;
  if (joinPages && hasPages && !job.documents.empty()) joined = takeJoined(job);
  if (!joined.empty()) {
    tell(joined);
  } else {
    for (size_t i = 0; i < job.documents.size(); i++) {
      if (hasPages) {
        tell(takePage(job, i));
      } else {
        takeDocument(job, i, tell);
      }
    }
  }
  plat::fileRemove(descriptionPath);
}

std::string JobTaker::takePage(const DescriptionFile& job, size_t index) {
  const char* path = job.documents[index].c_str();
  const char* extension = job.format->suffix;
  const std::string stem = documentStem(job.title, extension, index);
  plat::FilePtr file = openJobFile(path);
  try {
    std::string place = output.create(
        stem, "png", [&](FILE* picture) { png::writePng(file.get(), path, picture); });
    plat::fileRemove(path);
    return place;
  } catch (const plat::Exception& problem) {
    log.error("%s", problem.message);
  }
  return output.moveIn(path, fileno(file.get()), stem, extension);
}

void JobTaker::takeDocument(const DescriptionFile& job, size_t index, const DocumentStored& tell) {
  const char* path = job.documents[index].c_str();
  const char* extension = job.format->suffix;
  plat::FilePtr file = openJobFile(path);
  const int fd = fileno(file.get());
  std::vector<off_t> ends;
  if (job.format->kind == job::DocumentKind::pdf) ends = pdfDocumentEnds(fd);
  if (ends.size() < 2) {
    tell(output.moveIn(path, fd, documentStem(job.title, extension, index), extension));
    return;
  }
  off_t begin = 0;
  for (off_t end : ends) {
    tell(output.create(documentStem(job.title, extension, index++), extension,
                       [&](FILE* part) { copyRange(fd, begin, end, part); }));
    begin = end;
  }
  plat::fileRemove(path);
}

// Empty when the pages cannot be joined.
std::string JobTaker::takeJoined(const DescriptionFile& job) {
  std::string place;
  try {
    place = output.create(documentStem(job.title, "pdf", 0), "pdf",
                          [&](FILE* document) { joinPages(job.documents, document); });
  } catch (const plat::Exception& problem) {
    log.error("pages not joined: %s", problem.message);
    return place;
  }
  for (const std::string& page : job.documents) plat::fileRemove(page.c_str());
  return place;
}

}  // namespace receiver
