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

void reportError(const char* text, const char* file, int line) {
  plat::DString report(text);
  if (file) report.appendFormat(" (%s:%d)", file, line);
  log.error("%s", report.orEmpty());
  if (abortOnError) {
    fprintf(stderr, "%s\nAborting\n", report.orEmpty());
    abort();
  }
}

}  // namespace loc
