#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "apps/qolt-receiver/Journal.h"
#include "apps/qolt-receiver/OutputFolder.h"
#include "base/plat/Exception.h"

namespace receiver {

struct DescriptionFile;

// There is no such job, or it never can be taken over.
class JobRefused : public plat::Exception {
 public:
  JobRefused(const char* text, bool newIsGone) : Exception(text, "JobRefused"), isGone(newIsGone) {}

  bool isGone;  // there is no description file
};

// Takes the documents of a job over into the output folder: PDF and PostScript as they are,
// but PDF documents behind each other as one file each; pages as PNG pictures or, when they
// are to be joined, as one PDF document. A page that is no picture, or a broken one, is
// taken as the file that it is; a failure of the system is none of the page. A job is taken as a
// whole, once, or not at all.
class JobTaker {
 public:
  // Writes page files as one document; throws plat::Exception when a page is broken or empty,
  // plat::SystemException for a failure of the system.
  using JoinPages = void (*)(const std::vector<std::string>& pages, const std::string& title,
                             FILE* document);

  // A null newJoinPages: pages are not joined. Without a command no document is meant for one.
  // The journal is borrowed.
  JobTaker(OutputFolder newOutput, Journal& newJournal, JoinPages newJoinPages, bool newHasCommand);

  // Tells every document on standard output, and returns those for which a command is to be run.
  // The job's files are removed last. When one cannot be taken this throws plat::Exception, and
  // all of them stay where they are, to be tried again unless it is a JobRefused.
  std::vector<Document> take(const char* descriptionPath);
  // The same for a job of the journal, whose description file may be gone.
  std::vector<Document> finish(TakenJob& job);
  // To be called once the jobs of the journal are finished.
  void removeParts() { output.removeParts(); }

 private:
  void writeParts(TakenJob& taken, const DescriptionFile& job, const std::string& jobId);
  void addPage(TakenJob& taken, const DescriptionFile& job, size_t index);
  void addDocument(TakenJob& taken, const DescriptionFile& job, size_t index);
  bool addJoined(TakenJob& taken, const DescriptionFile& job);
  template <class Write>
  void addPart(TakenJob& taken, const DescriptionFile& job, size_t index, const char* extension,
               bool forCommand, Write write);

  OutputFolder output;
  Journal* journal;
  JoinPages joinPages;
  bool hasCommand;
};

}  // namespace receiver
