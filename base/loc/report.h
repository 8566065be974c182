#pragma once

#include "base/plat/printfFormat.h"

namespace plat {
class LogSrc;
}

namespace loc {

// The log source "Localize".
extern constinit plat::LogSrc log;

// Makes every error that is reported here end the process, for testing the texts of a
// program. Off at first.
void setAbortOnError(bool on);
// An error in the texts or their use: is logged. The place of the use may be unknown: null.
void reportError(const char* file, int line, const char* format, ...) PLAT_PRINTF(3, 4);

}  // namespace loc
