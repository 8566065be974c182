#include "apps/qolt-receiver/JobTaker.h"

#include <cstdio>

#include "apps/common/writePng.h"
#include "apps/qolt-receiver/DescriptionFile.h"
#include "apps/qolt-receiver/jobFile.h"
#include "apps/qolt-receiver/joinPages.h"
#include "base/plat/Exception.h"
#include "base/plat/LogSrc.h"
#include "base/plat/file.h"

namespace receiver {

static plat::LogSrc log("JobTaker");

namespace {

constexpr char pageFormat[] = "ZRLE";

const char* extensionOf(const std::string& format) {
  if (format == "PDF") return "pdf";
  if (format == "PS") return "ps";
  if (format == pageFormat) return "zrle";
  throw plat::ExceptionFmt("unknown document format \"%s\"", format.c_str());
}

DescriptionFile readDescription(const char* path) {
  plat::MBuf<unsigned char> text = openJobFile(path).readAll(maxDescriptionSize);
  return DescriptionFile::parse(
      {reinterpret_cast<const char*>(text.data()), static_cast<size_t>(text.size())});
}

}  // namespace

JobTaker::JobTaker(const char* outputPath, bool join) : output(outputPath), isJoining(join) {}

void JobTaker::take(const char* descriptionPath, const DocumentStored& documentStored) {
  const DescriptionFile job = readDescription(descriptionPath);
  extensionOf(job.format);
  auto tell = [&](const std::string& place) {
    printf("received %s\n", place.c_str());
    documentStored(place);
  };
  std::string joined;
  if (isJoining && job.format == pageFormat && !job.documents.empty()) joined = takeJoined(job);
  if (!joined.empty()) {
    tell(joined);
  } else {
    for (size_t i = 0; i < job.documents.size(); i++) tell(takeDocument(job, i));
  }
  plat::fileRemove(descriptionPath);
}

std::string JobTaker::takeDocument(const DescriptionFile& job, size_t index) {
  const char* path = job.documents[index].c_str();
  const char* extension = extensionOf(job.format);
  const std::string stem = documentStem(job.title, extension, index);
  plat::FilePtr file = openJobFile(path);
  if (job.format == pageFormat) {
    try {
      std::string place = output.create(
          stem, "png", [&](FILE* picture) { png::writePng(file.get(), path, picture); });
      plat::fileRemove(path);
      return place;
    } catch (const plat::Exception& problem) {
      log.error("%s", problem.message);
    }
  }
  return output.moveIn(path, fileno(file.get()), stem, extension);
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
