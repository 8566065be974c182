#include "base/plat/LogDestMem.h"

#include <mutex>

#include "base/plat/logLock.h"

namespace plat {

namespace {

constexpr size_t maxEntries = 500;
constexpr char ownSource[] = "LogDestMem";

struct FlagScope {
  explicit FlagScope(bool& flag_) : flag(flag_) { flag = true; }
  ~FlagScope() { flag = false; }
  bool& flag;
};

}  // namespace

LogDestMem::LogDestMem() : LogDest(nullptr) {}

LogDestMem& LogDestMem::instance() {
  static LogDestMem& memory = *new LogDestMem;
  return memory;
}

void LogDestMem::write(int messageLevel, const char* source, const char* text) {
  std::lock_guard<RecursiveMutex> lock(mutex);
  if (!replaying) addLogEntry(entries, maxEntries, ownSource, messageLevel, source, text);
}

void LogDestMem::replayTo(LogDest* dest, int maxLevel) {
  // The destination may log, which takes this mutex first.
  std::lock_guard<RecursiveMutex> listLock(logLock());
  std::lock_guard<RecursiveMutex> lock(mutex);
  FlagScope scope(replaying);
  bool started = false;
  for (const LogEntry& entry : entries) {
    if (entry.level > maxLevel) continue;
    if (!started) dest->write(maxLevel, ownSource, "Start replaying stored messages");
    started = true;
    dest->write(entry.level, entry.source.orEmpty(), entry.text.orEmpty());
  }
  if (started) dest->write(maxLevel, ownSource, "Finished replaying stored messages");
}

void LogDestMem::discardUpTo(int maxLevel) {
  std::lock_guard<RecursiveMutex> lock(mutex);
  std::erase_if(entries, [&](const LogEntry& entry) { return entry.level <= maxLevel; });
}

void LogDestMem::clear() {
  std::lock_guard<RecursiveMutex> lock(mutex);
  entries.clear();
  entries.shrink_to_fit();
}

}  // namespace plat
