#include "base/plat/LogDest.h"

#include <strings.h>

#include <climits>
#include <mutex>

#include "base/plat/LogSrc.h"
#include "base/plat/logLock.h"

namespace plat {

static LogDest* newestDest;

RecursiveMutex& logLock() {
  static RecursiveMutex& mutex = *new RecursiveMutex;
  return mutex;
}

LogDest::LogDest(const char* destName) : name(destName), next(nullptr), level(INT_MAX) {
  if (!name) return;
  std::lock_guard<RecursiveMutex> lock(logLock());
  next = newestDest;
  newestDest = this;
}

LogDest::~LogDest() {
  std::lock_guard<RecursiveMutex> lock(logLock());
  LogDest** at = &newestDest;
  while (*at && *at != this) at = &(*at)->next;
  if (*at) *at = next;
  LogSrc::detach(this);
}

bool LogDest::isActive() const {
  return true;
}

LogDest* LogDest::findDest(const char* destName) {
  if (!destName) return nullptr;
  std::lock_guard<RecursiveMutex> lock(logLock());
  LogDest* dest = newestDest;
  while (dest && strcasecmp(dest->name, destName) != 0) dest = dest->next;
  return dest;
}

void LogDest::listDests(FILE* stream) {
  std::lock_guard<RecursiveMutex> lock(logLock());
  for (LogDest* dest = newestDest; dest; dest = dest->next) fprintf(stream, "  %s\n", dest->name);
}

}  // namespace plat
