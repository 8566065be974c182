#include "base/plat/Assertion.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "base/os/unix/stackBackTrace.h"
#include "base/plat/LogSrc.h"

namespace plat {

static constinit LogSrc log("Assertion");
static const LogSrc::Listed listed(log);

// Set by the first failure and never cleared.
static std::atomic<bool> handlingFailure;

static std::atomic<AssertionHook> assertionHook;

namespace {

struct BackTrace {
  ~BackTrace() {
    for (char* line : lines) free(line);
  }
  std::vector<char*> lines;
};

}  // namespace

void assertionFailed(const AssertionFail& failure) noexcept {
  if (handlingFailure.exchange(true)) abort();
  fprintf(stderr, "%s\n", failure.message);
  try {
    log.error("%s", failure.message);
    BackTrace backTrace;
    os::stackBackTrace(backTrace.lines);
    for (const char* line : backTrace.lines) log.error("stacktrace: %s", line);
    if (AssertionHook hook = assertionHook) hook();
  } catch (...) {
    abort();
  }
  abort();
}

void setAssertionHook(AssertionHook hook) {
  assertionHook = hook;
}

void assertionWarning(const AssertionFail& failure) {
  log.error("Warning: %s", failure.message);
}

}  // namespace plat
