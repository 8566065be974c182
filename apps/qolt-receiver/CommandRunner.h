#pragma once

#include <sys/types.h>

#include <list>
#include <string>

#include "apps/qolt-receiver/CommandLine.h"
#include "apps/qolt-receiver/Document.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/Timer.h"

namespace receiver {

class Journal;

// Runs a command for one document after another, in their order. One that fails, which is logged,
// is run again after a pause that doubles from 1 s up to ten minutes, and earlier when another
// document comes; those behind it wait. Belongs to one thread with a current io::FdManager.
class CommandRunner : private plat::Timer::Callback, private plat::NonCopyable {
 public:
  struct Options {
    int parallel = 1;              // documents whose turn it is, at a time
    bool usesStdin = false;        // the document is standard input, and no argument but %f
    bool removesDocument = false;  // once its command has succeeded
  };

  // The journal is borrowed.
  CommandRunner(const CommandLine& newCommand, Options newOptions, Journal& newJournal);
  // Gives the commands that run a few seconds. After that they are left to themselves; what has
  // not been run remains in the journal.
  ~CommandRunner() override;

  void run(const Document& document);
  // To be called on SIGCHLD.
  void childEnded();

 private:
  struct Entry {
    Document document;
    pid_t pid = 0;        // while its command runs
    int pauseS = 0;       // of the last failure
    plat::Ticks due = 0;  // monotonic
  };
  using Place = std::list<Entry>::iterator;

  bool timerExpired(plat::Timer*) override;
  void startDue();
  bool start(Entry& entry);
  void hasFailed(Entry& entry);
  Place hasSucceeded(Place entry);
  Place isDone(Place entry);
  Place lookAfter(Place entry);

  CommandLine command;
  Options options;
  Journal& journal;
  std::list<Entry> entries;  // in the order of their turns
  plat::Timer timer;
};

}  // namespace receiver
