#pragma once

#include <list>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "apps/qolt-receiver/Document.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/unix/OwnedFd.h"

namespace receiver {

// A job that has been taken over: its documents are in the output folder, as parts that are still
// to get their names; then its files can go.
struct TakenJob {
  struct Part {
    std::string name;  // in the output folder
    Document document;
  };

  std::string description;  // path of the description file
  std::string identity;     // of that file; another one of this name is another job
  std::vector<Part> parts;
};

// The text of a journal: lines of words, which are percent-encoded and separated by one blank.
//   "document" number part path job title queue    a document of the job that ends below
//   "file" number part path job title queue        the same, and no command is to be run
//   "job" description identity                     what stands before it has been taken over
//   "moved" number path                            that document gets this path
//   "done" number                                  its command has been run
// What stands behind the last "job", and from the first line on that is none of these, counts for
// nothing: the process ended while it was written. Of documents that are done, `forCommand` is
// false; jobs of which all commands have been run are left out.
std::list<TakenJob> parseJournal(std::string_view text);
std::string journalLines(const TakenJob& job);

// What the receiver has promised, in a file: that a job is taken over once, and that the command
// is run for every document, whatever becomes of the process. From any thread.
class Journal : private plat::NonCopyable {
 public:
  // Reads what an earlier process has left; waits for one that is ending. Throws plat::Exception.
  explicit Journal(const std::string& newPath);
  // Removes a file in which nothing is left.
  ~Journal();

  // Has been taken over when this returns; the documents have numbers then. The reference is valid
  // until finish(). Throws plat::Exception, and nothing has changed.
  TakenJob& add(TakenJob job);
  // The jobs that were not finished, in their order.
  std::vector<TakenJob*> jobs();
  // Throws plat::Exception.
  void move(Document& document, const std::string& newPath);
  // The documents have their names, and the job's files have gone. Returns the documents with
  // commands still to be run.
  std::vector<Document> finish(TakenJob& job);
  // Is not on the disk at once: when the machine loses its power, the command is run again.
  void done(uint64_t number);

 private:
  void append(const std::string& lines, bool isUrgent);
  void emptyIfNothingIsLeft();

  std::string path;
  plat::OwnedFd file;
  std::mutex mutex;  // guards the following
  std::list<TakenJob> taken;
  std::set<uint64_t> left;  // documents of finished jobs
  uint64_t lastNumber = 0;
};

}  // namespace receiver
