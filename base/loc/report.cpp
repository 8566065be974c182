#include "base/loc/report.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "base/plat/DString.h"
#include "base/plat/LogSrc.h"

namespace loc {

static std::atomic<bool> abortOnError;

constinit plat::LogSrc log("Localize");
static const plat::LogSrc::Listed listed(log);

void setAbortOnError(bool on) {
  abortOnError = on;
}

void reportError(const char* file, int line, const char* format, ...) {
  plat::DString report;
  va_list args;
  va_start(args, format);
  report.appendFormatV(format, args);
  va_end(args);
  if (file) report.appendFormat(" (%s:%d)", file, line);
  log.error("%s", report.orEmpty());
  if (abortOnError) {
    fprintf(stderr, "%s\nAborting\n", report.orEmpty());
    abort();
  }
}

}  // namespace loc
