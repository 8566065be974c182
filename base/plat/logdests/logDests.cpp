#include "base/plat/logdests/logDests.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>

#include "base/os/unix/DirEnum.h"
#include "base/plat/ConfigParameter.h"
#include "base/plat/Exception.h"
#include "base/plat/FilePtr.h"
#include "base/plat/LogDest.h"
#include "base/plat/LogSrc.h"
#include "base/plat/file.h"
#include "base/plat/logLock.h"
#include "base/plat/path.h"
#include "base/plat/time.h"

namespace plat {

namespace {

// The program's name, so that programs that share a folder do not share the file.
String defaultFileName() {
  return String((std::string(program_invocation_short_name) + ".log").c_str());
}

StringParameter logDir("LogDir", nullptr, "plat_param_logdir", ".");
StringParameter logFile("LogFile", nullptr, "plat_param_logfile", defaultFileName().get());
IntParameter logKeepDays("LogKeepDays", nullptr, 7, false, nullptr, 0, 36500, nullptr,
                         "plat_param_log_keep_days");

constexpr int dateLength = 10;  // "2024-02-29"

void writeLine(FILE* stream, Ticks time, int level, const char* source, const char* text) {
  fprintf(stream, "%s %d %s: %s\n", formatIsoWithOffset(time, true).get(), level, source, text);
}

// Local.
String dateOf(Ticks time) {
  return strDup(formatIso(time, true, false).get(), dateLength);
}

// Part in the logging only when it has started.
class StartedLogDest : public LogDest {
 public:
  using LogDest::LogDest;
  bool isActive() const override { return started; }
  void start() { started = true; }

 private:
  std::atomic<bool> started = false;
};

class LogDestStderr : public StartedLogDest {
 public:
  LogDestStderr() : StartedLogDest("stderr") {}
  void write(int messageLevel, const char* source, const char* text) override {
    writeLine(stderr, now(), messageLevel, source, text);
  }
};

class LogDestFile : public StartedLogDest {
 public:
  LogDestFile() : StartedLogDest("file") {}

  // The parameters belong to the main thread.
  void open() {
    folder = logDir.getValue();
    name = logFile.getValue();
    keepDays = logKeepDays;
    start();
  }

  void check() {
    std::lock_guard<RecursiveMutex> lock(logLock());
    beginDay(now());
  }

  void write(int messageLevel, const char* source, const char* text) override {
    if (isBroken) return;
    try {
      const Ticks time = now();
      beginDay(time);
      writeLine(file.get(), time, messageLevel, source, text);
      file.flush();
    } catch (const Exception& problem) {
      // Its own failure cannot go where it would log to.
      isBroken = true;
      fprintf(stderr, "%s: no more logging to file: %s\n", program_invocation_short_name,
              problem.message);
    }
  }

 private:
  void beginDay(Ticks time) {
    const String today = dateOf(time);
    if (!file.get() || day != today) startDay(today, time);
  }

  void startDay(const String& today, Ticks time) {
    mkDir(folder.get(), true);
    const String path = join(folder.get(), name.get());
    if (fileExists(path.get())) {
      const String lastDay = dateOf(fileGetTime(path.get()));
      const String archive = String((std::string(path.get()) + "." + lastDay.get()).c_str());
      if (lastDay != today && !fileExists(archive.get())) {
        fileRename(path.get(), archive.get());
      }
    }
    file.open(path.get(), FileMode::write, openAppend | openPrivate);
    day.set(today.get());
    removeOld(time);
  }

  void removeOld(Ticks time) {
    const String oldest = dateOf(time - keepDays * ticksPerDay);
    os::DirEnum entries(folder.get());
    const size_t nameLength = strlen(name.get());
    while (const char* entry = entries.next()) {
      if (!startsWith(entry, name.get()) || entry[nameLength] != '.') continue;
      const char* date = entry + nameLength + 1;
      Ticks ignored;
      if (strlen(date) != dateLength ||
          !parseIso((std::string(date) + "T00:00:00").c_str(), &ignored)) {
        continue;
      }
      // Dates sort as texts.
      if (strcmp(date, oldest.get()) < 0) {
        fileRemove(join(folder.get(), entry).get());
      }
    }
  }

  String folder, name;
  int keepDays = 0;
  FilePtr file;
  String day;  // of the file
  bool isBroken = false;
};

// Found by name from the start, and never destroyed: threads may log to the end.
LogDestStderr& standardError = *new LogDestStderr;
LogDestFile& logFileDest = *new LogDestFile;

}  // namespace

void startLogging() {
  standardError.start();
  logFileDest.open();
  if (LogSrc::isUsed(&logFileDest)) logFileDest.check();
  LogSrc::initLogging();
}

}  // namespace plat
