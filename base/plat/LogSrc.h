#pragma once

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <map>

#include "base/plat/Exception.h"
#include "base/plat/NonCopyable.h"

namespace plat {

class LogDest;

// Levels: a smaller number is more important; a message passes a limit that is
// not below its level.
enum LogLevel { logError = 0, logInfo = 30, logDebug = 100, logDebug2 = 110 };

// A named source of log messages: a static object, one per unit, named after it.
// May be written from any thread, and safely until the end of the process: once
// the source is destroyed its messages are dropped. Messages that reach no
// destination are kept in memory (LogDestMem).
class LogSrc : public NonCopyable {
 public:
  explicit LogSrc(const char* name);  // static text
  virtual ~LogSrc();
  // Recomputes the level from the destinations.
  virtual void updateLevel();

  // Anything outside 0x20 to 0x7d is written in its escaped rendering, with "~".
  // Writing before construction is a fatal assertion. errno is left as it was.
  void write(int level, const char* text);
  // Each non-empty line separately.
  void writeLines(int level, const char* text);
  // Formatted into 4095 bytes at most; once the logging is configured, only what
  // some destination takes.
  void error(const char* format, ...) PLAT_PRINTF(2, 3);
  void info(const char* format, ...) PLAT_PRINTF(2, 3);
  void debug(const char* format, ...) PLAT_PRINTF(2, 3);
  void debug2(const char* format, ...) PLAT_PRINTF(2, 3);
  void log(int level, const char* format, ...) PLAT_PRINTF(3, 4);

  const char* getName() const { return name; }
  int getLevel() const { return level; }

  // From here on sources without a destination drop their messages. Replays the
  // stored messages once and frees the rest; later calls do nothing.
  static void initLogging();
  // "<log>:<target>:<level>[,...]" instead of the parameter "Log"; null: the
  // parameter again.
  static void setLogSpec(const char* spec);
  // Attaches the destinations afresh and replays stored messages to those that
  // take every source. What is wrong in an element is told on standard error.
  static void applyLogSpec();
  // For a destination whose level has changed.
  static void updateAllLevels();
  // The names of all sources, joined with ", " in lines of at most width columns.
  static void listLogNames(int width, FILE* stream);

 private:
  friend class LogDest;
  static void detach(LogDest* dest);

  void logV(int level, const char* format, va_list args);

  const char* name;
  std::atomic<int> level;         // -1: nothing attached; INT_MAX: no specification applied yet
  std::map<LogDest*, int> dests;  // the limit given for this source
  LogSrc* next;
  bool constructed;
};

}  // namespace plat
