#include "apps/qolt-receiver/logDests.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>

#include "base/os/unix/DirEnum.h"
#include "base/plat/ConfigParameter.h"
#include "base/plat/Exception.h"
#include "base/plat/FilePtr.h"
#include "base/plat/LogDest.h"
#include "base/plat/LogSrc.h"
#include "base/plat/file.h"
#include "base/plat/path.h"
#include "base/plat/time.h"

namespace receiver {

namespace {

plat::StringParameter logDir("LogDir", nullptr, "plat_param_logdir", ".");
plat::StringParameter logFile("LogFile", nullptr, "plat_param_logfile", "qolt-receiver.log");
plat::IntParameter logKeepDays("LogKeepDays", nullptr, 7, false, nullptr, 0, 36500, nullptr,
                               "plat_param_log_keep_days");

constexpr int dateLength = 10;  // "2024-02-29"

void writeLine(FILE* stream, plat::Ticks time, int level, const char* source, const char* text) {
  fprintf(stream, "%s %d %s: %s\n", plat::formatIsoWithOffset(time, true).get(), level, source,
          text);
}

// Local.
plat::String dateOf(plat::Ticks time) {
  return plat::strDup(plat::formatIso(time, true, false).get(), dateLength);
}

// Part in the logging only when it has started.
class StartedLogDest : public plat::LogDest {
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
    writeLine(stderr, plat::now(), messageLevel, source, text);
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

  void write(int messageLevel, const char* source, const char* text) override {
    if (isBroken) return;
    try {
      const plat::Ticks time = plat::now();
      const plat::String today = dateOf(time);
      if (!file.get() || day != today) startDay(today, time);
      writeLine(file.get(), time, messageLevel, source, text);
      file.flush();
    } catch (const plat::Exception& problem) {
      // Its own failure cannot go where it would log to.
      isBroken = true;
      fprintf(stderr, "qolt-receiver: no more logging to file: %s\n", problem.message);
    }
  }

 private:
  void startDay(const plat::String& today, plat::Ticks time) {
    plat::mkDir(folder.get(), true);
    const plat::String path = plat::join(folder.get(), name.get());
    file.close();
    if (plat::fileExists(path.get())) {
      const plat::String lastDay = dateOf(plat::fileGetTime(path.get()));
      const plat::String archive =
          plat::String((std::string(path.get()) + "." + lastDay.get()).c_str());
      if (lastDay != today && !plat::fileExists(archive.get())) {
        plat::fileRename(path.get(), archive.get());
      }
    }
    file.open(path.get(), plat::FileMode::write, plat::openAppend | plat::openPrivate);
    day.set(today.get());
    removeOld(time);
  }

  void removeOld(plat::Ticks time) {
    const plat::String oldest = dateOf(time - keepDays * plat::ticksPerDay);
    os::DirEnum entries(folder.get());
    const size_t nameLength = strlen(name.get());
    while (const char* entry = entries.next()) {
      if (!plat::startsWith(entry, name.get()) || entry[nameLength] != '.') continue;
      const char* date = entry + nameLength + 1;
      plat::Ticks ignored;
      if (strlen(date) != dateLength ||
          !plat::parseIso((std::string(date) + "T00:00:00").c_str(), &ignored)) {
        continue;
      }
      // Dates sort as texts.
      if (strcmp(date, oldest.get()) < 0) {
        plat::fileRemove(plat::join(folder.get(), entry).get());
      }
    }
  }

  plat::String folder, name;
  int keepDays = 0;
  plat::FilePtr file;
  plat::String day;  // of the file
  bool isBroken = false;
};

LogDestStderr standardError;
LogDestFile logFileDest;

}  // namespace

void startLogging() {
  standardError.start();
  logFileDest.open();
  plat::LogSrc::initLogging();
}

}  // namespace receiver
