#include "base/plat/LogEntry.h"

namespace plat {

void addLogEntry(std::vector<LogEntry>& entries, size_t maximum, const char* noticeSource,
                 int level, const char* source, const char* text) {
  if (entries.size() < maximum) {
    entries.push_back({level, String(source), String(text)});
  } else if (entries.size() == maximum) {
    entries.push_back(
        {0, String(noticeSource), String("Too many messages, discarding further ones")});
  }
}

}  // namespace plat
