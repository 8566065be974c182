#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "apps/qolt-receiver/OutputFolder.h"

namespace receiver {

struct DescriptionFile;

// Takes the documents of a job over into the output folder: PDF and PostScript as they are,
// but PDF documents behind each other as one file each; pages as PNG pictures or, when they
// are to be joined, as one PDF document. A page that is no picture, or a broken one, is
// taken as the file that it is.
class JobTaker {
 public:
  using DocumentStored = std::function<void(const std::string& path)>;

  // Writes page files as one document; throws plat::Exception when a page is broken or empty.
  using JoinPages = void (*)(const std::vector<std::string>& pages, FILE* document);

  // A null newJoinPages: pages are not joined.
  JobTaker(const char* outputPath, JoinPages newJoinPages);

  // Tells every stored document on standard output and to the callback. When one cannot be
  // taken this throws plat::Exception, and the rest of the job's files stay where they are.
  void take(const char* descriptionPath, const DocumentStored& documentStored);

 private:
  std::string takePage(const DescriptionFile& job, size_t index);
  std::string takeJoined(const DescriptionFile& job);
  void takeDocument(const DescriptionFile& job, size_t index, const DocumentStored& tell);

  OutputFolder output;
  JoinPages joinPages;
};

}  // namespace receiver
