#include "base/plat/LogSrc.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <mutex>
#include <type_traits>
#include <vector>

#include "base/plat/Assertion.h"
#include "base/plat/ConfigParameter.h"
#include "base/plat/DString.h"
#include "base/plat/LogDest.h"
#include "base/plat/LogDestMem.h"
#include "base/plat/NumUtil.h"
#include "base/plat/SString.h"
#include "base/plat/Splitter.h"
#include "base/plat/String.h"
#include "base/plat/Wildcard.h"
#include "base/plat/logLock.h"
#include "base/plat/utf8.h"

namespace plat {

namespace {

// Constant-initialised and without destructors, for the units that log before this
// one is initialised or after. Guarded by logLock().
LogSrc* newestSource;
char* overrideSpec;
std::atomic<bool> configured;
const StringParameter* liveLogParameter;
bool specIsRight = true;

StringParameter logParameter("Log", "Record events in the format <log>:<target>:<level>[,...].",
                             "plat_param_log", "");

struct LogParameterChanged : ParameterChangedCallback {
  LogParameterChanged() {
    logParameter.addCallback(this);
    liveLogParameter = &logParameter;
  }
  ~LogParameterChanged() override {
    liveLogParameter = nullptr;
    logParameter.removeCallback(this);
  }
  void parameterChanged(ConfigParameter*, int) override { LogSrc::applyLogSpec(); }
} logParameterChanged;

struct SpecElement {
  String pattern;
  LogDest* dest = nullptr;
  int level = -1;
};

bool parseElement(const char* text, SpecElement* element) {
  if (!*text) return false;
  String copy(text);
  Splitter splitter(copy.data());
  element->pattern.set(splitter.next(':'));
  const char* destName = splitter.next(':');
  const char* cursor = splitter.rest();
  if (!strToInt(&element->level, &cursor, 10) || *cursor || element->level < 0) {
    fprintf(stderr, "Failed to parse log param element: '%s'\n", text);
    return false;
  }
  if (!destName || !*destName) return false;
  element->dest = LogDest::findDest(destName);
  if (!element->dest) fprintf(stderr, "No LogDest found: '%s'\n", destName);
  return element->dest != nullptr;
}

std::vector<SpecElement> parseSpec() {
  String spec(overrideSpec);
  if (!overrideSpec && liveLogParameter) spec = liveLogParameter->getValue();
  std::vector<SpecElement> elements;
  Splitter splitter(spec.data());
  specIsRight = true;
  while (const char* text = splitter.next(',')) {
    SpecElement element;
    if (parseElement(text, &element)) {
      elements.push_back(std::move(element));
    } else if (*text) {
      specIsRight = false;
    }
  }
  return elements;
}

void replayStored(const std::vector<SpecElement>& elements) {
  int replayedLevel = -1;
  for (const SpecElement& element : elements) {
    if (element.pattern != "*" || !element.dest->isActive()) continue;
    LogDestMem::instance().replayTo(element.dest, element.level);
    replayedLevel = std::max(replayedLevel, element.level);
  }
  LogDestMem::instance().discardUpTo(replayedLevel);
}

}  // namespace

static_assert(std::is_trivially_destructible_v<LogSrc>);

LogSrc::Listed::Listed(LogSrc& source) {
  std::lock_guard<RecursiveMutex> lock(logLock());
  source.dests = new std::map<LogDest*, int>;
  source.next = newestSource;
  newestSource = &source;
}

void LogSrc::updateLevel() {
  std::lock_guard<RecursiveMutex> lock(logLock());
  int newLevel = -1;
  for (const auto& [dest, limit] : *dests) {
    newLevel = std::max(newLevel, std::min(dest->getLevel(), limit));
  }
  level = newLevel;
}

void LogSrc::write(int messageLevel, const char* text) {
  PLAT_ASSERT(constructed);
  std::lock_guard<RecursiveMutex> lock(logLock());
  int savedErrno = errno;
  if (configured && (!dests || dests->empty())) return;
  const String escaped = escapeUtf8(text, '~');
  bool taken = false;
  if (dests) {
    for (const auto& [dest, limit] : *dests) {
      if (!dest->isActive() || limit < messageLevel) continue;
      dest->write(messageLevel, name, escaped.orEmpty());
      taken = true;
    }
  }
  if (!taken) LogDestMem::instance().write(messageLevel, name, escaped.orEmpty());
  errno = savedErrno;
}

void LogSrc::writeLines(int messageLevel, const char* text) {
  String copy(text);
  Splitter splitter(copy.data());
  while (const char* line = splitter.next('\n')) {
    if (*line) write(messageLevel, line);
  }
}

void LogSrc::logV(int messageLevel, const char* format, va_list args) {
  if (configured && messageLevel > level) return;
  char text[4096];
  text[0] = '\0';
  sstrAppendFormat(text, sizeof(text), format, args);
  write(messageLevel, text);
}

void LogSrc::error(const char* format, ...) {
  va_list args;
  va_start(args, format);
  logV(logError, format, args);
  va_end(args);
}

void LogSrc::info(const char* format, ...) {
  va_list args;
  va_start(args, format);
  logV(logInfo, format, args);
  va_end(args);
}

void LogSrc::debug(const char* format, ...) {
  va_list args;
  va_start(args, format);
  logV(logDebug, format, args);
  va_end(args);
}

void LogSrc::debug2(const char* format, ...) {
  va_list args;
  va_start(args, format);
  logV(logDebug2, format, args);
  va_end(args);
}

void LogSrc::log(int messageLevel, const char* format, ...) {
  va_list args;
  va_start(args, format);
  logV(messageLevel, format, args);
  va_end(args);
}

void LogSrc::initLogging() {
  std::lock_guard<RecursiveMutex> lock(logLock());
  if (configured.exchange(true)) return;
  replayStored(parseSpec());
  LogDestMem::instance().clear();
}

void LogSrc::setLogSpec(const char* spec) {
  std::lock_guard<RecursiveMutex> lock(logLock());
  String newSpec(spec);
  free(overrideSpec);
  overrideSpec = newSpec.release();
  applyLogSpec();
}

void LogSrc::applyLogSpec() {
  std::lock_guard<RecursiveMutex> lock(logLock());
  for (LogSrc* source = newestSource; source; source = source->next) source->dests->clear();
  const std::vector<SpecElement> elements = parseSpec();
  for (const SpecElement& element : elements) {
    for (LogSrc* source = newestSource; source; source = source->next) {
      if (wildcardMatch(element.pattern.get(), source->name, /*caseSensitive=*/false)) {
        (*source->dests)[element.dest] = element.level;
      }
    }
  }
  // Only now: other threads filter by the level without the mutex, and a level in
  // between would lose messages that the old and the new specification take.
  updateAllLevels();
  replayStored(elements);
  updateAllLevels();
}

bool LogSrc::isSpecRight() {
  std::lock_guard<RecursiveMutex> lock(logLock());
  return specIsRight;
}

bool LogSrc::isUsed(LogDest* dest) {
  std::lock_guard<RecursiveMutex> lock(logLock());
  for (const LogSrc* source = newestSource; source; source = source->next) {
    if (source->dests->count(dest)) return true;
  }
  return false;
}

void LogSrc::updateAllLevels() {
  std::lock_guard<RecursiveMutex> lock(logLock());
  for (LogSrc* source = newestSource; source; source = source->next) source->updateLevel();
}

void LogSrc::detach(LogDest* dest) {
  for (LogSrc* source = newestSource; source; source = source->next) {
    if (source->dests->erase(dest)) source->updateLevel();
  }
}

void LogSrc::listLogNames(int width, FILE* stream) {
  std::lock_guard<RecursiveMutex> lock(logLock());
  DString text("  ");
  int column = 2;
  for (LogSrc* source = newestSource; source; source = source->next) {
    int length = strLen(source->name);
    if (source != newestSource) {
      bool fits = column + 2 + length <= width - 2;
      text.append(fits ? ", " : ",\n  ");
      column = fits ? column + 2 : 2;
    }
    text.append(source->name);
    column += length;
  }
  fprintf(stream, "%s\n", text.get());
}

}  // namespace plat
