#pragma once

namespace plat {
class LogSrc;
}

namespace loc {

// The log source "Localize".
extern constinit plat::LogSrc log;

// Makes every error that is reported here end the process, for testing the texts of a
// program. Off at first.
void setAbortOnError(bool on);
// An error in the texts or their use: is logged. file may be null: not known.
void reportError(const char* text, const char* file = nullptr, int line = 0);

}  // namespace loc
