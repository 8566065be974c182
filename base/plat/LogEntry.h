#pragma once

#include <cstddef>
#include <vector>

#include "base/plat/String.h"

namespace plat {

// A log message that waits for its destination.
struct LogEntry {
  int level;
  String source;
  String text;
};

// Appends a copy while there are fewer than `maximum` entries; then one notice from
// noticeSource, and nothing more.
void addLogEntry(std::vector<LogEntry>& entries, size_t maximum, const char* noticeSource,
                 int level, const char* source, const char* text);

}  // namespace plat
