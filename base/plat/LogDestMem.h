#pragma once

#include <vector>

#include "base/plat/LogDest.h"
#include "base/plat/LogEntry.h"
#include "base/plat/unix/RecursiveMutex.h"

namespace plat {

// Keeps the messages that no destination took, 500 at most and then one notice,
// until they can be replayed. Messages that arrive during a replay are dropped.
class LogDestMem : public LogDest {
 public:
  // One per process, made on first use and never destroyed.
  static LogDestMem& instance();

  void write(int level, const char* source, const char* text) override;
  // Writes the stored messages up to the level to the destination, between two
  // notices at that level; keeps them.
  void replayTo(LogDest* dest, int level);
  // Removes the messages up to the level.
  void discardUpTo(int level);
  void clear();

 private:
  LogDestMem();

  RecursiveMutex mutex;
  std::vector<LogEntry> entries;
  bool replaying = false;
};

}  // namespace plat
