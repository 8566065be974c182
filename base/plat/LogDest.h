#pragma once

#include <atomic>
#include <cstdio>

#include "base/plat/NonCopyable.h"

namespace plat {

// Where log messages go. Destinations with a name are listed, newest first, and
// found by name in a log specification.
class LogDest : public NonCopyable {
 public:
  explicit LogDest(const char* name);  // static text, null: unnamed
  // Detaches itself from every source, but only when the derived part is gone: no
  // other thread may log then, or the log specification leaves this out already.
  virtual ~LogDest();
  // From any thread, one at a time for what sources write, under logLock(). Also
  // the stored messages, whenever a specification with "*" for this one is applied
  // and once by LogSrc::initLogging(). May log in turn, but must not change the log
  // specification.
  virtual void write(int level, const char* source, const char* text) = 0;
  // False: sources pass it over.
  virtual bool isActive() const;

  const char* getName() const { return name; }
  int getLevel() const { return level; }

  // Without regard to case; null when there is none.
  static LogDest* findDest(const char* name);
  // A line "  %s\n" per named destination.
  static void listDests(FILE* stream);

 private:
  const char* name;
  LogDest* next;

 protected:
  // What this destination takes at most; LogSrc::updateAllLevels() follows a change.
  std::atomic<int> level;
};

}  // namespace plat
