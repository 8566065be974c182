#pragma once

#include <atomic>
#include <climits>
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

// A named source of log messages, one per unit, named after it. It is static, is
// constant-initialised and has nothing to destroy, so that any thread may write to
// it from the first static initialisation to the end of the process:
//
//   static constinit plat::LogSrc log("FdIo");
//   static const plat::LogSrc::Listed listed(log);
//
// Messages that reach no destination are kept in memory (LogDestMem).
class LogSrc final : public NonCopyable {
 public:
  // Enters a source, which must be static, into the list of those that
  // specifications attach to destinations.
  struct Listed {
    explicit Listed(LogSrc& source);
  };

  explicit constexpr LogSrc(const char* sourceName) : name(sourceName) {}  // static text
  // Recomputes the level of a listed source from the destinations.
  void updateLevel();

  // Anything outside 0x20 to 0x7d is written in its escaped rendering, with "~".
  // Writing through memory that no constructor has filled is a fatal assertion.
  // errno is left as it was.
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
  // Whether every element of the specification has been understood.
  static bool isSpecRight();
  // Whether some source writes to the destination.
  static bool isUsed(LogDest* dest);
  // For a destination whose level has changed.
  static void updateAllLevels();
  // For a destination that ends.
  static void detach(LogDest* dest);
  // The names of all sources, joined with ", " in lines of at most width columns.
  static void listLogNames(int width, FILE* stream);

 private:
  void logV(int level, const char* format, va_list args);

  const char* name;
  // -1: nothing attached; INT_MAX: no specification applied yet.
  std::atomic<int> level{INT_MAX};
  // The limit given for this source. Made when the source is listed and never freed.
  std::map<LogDest*, int>* dests = nullptr;
  LogSrc* next = nullptr;
  bool constructed = true;
};

}  // namespace plat
