// A log specification, against a plain reading of it, and the list of the sources.
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <map>
#include <vector>

#include "base/plat/LogDest.h"
#include "base/plat/LogSrc.h"
#include "base/plat/NumUtil.h"
#include "base/plat/Wildcard.h"
#include "fuzz/fuzz.h"

namespace {

struct CountingDest : plat::LogDest {
  using LogDest::LogDest;
  void write(int, const char*, const char*) override { count++; }
  bool isActive() const override { return active; }
  void setLevel(int newLevel) { level = newLevel; }
  int count = 0;
  bool active = true;
};

CountingDest file("file"), mem("mem");
constinit plat::LogSrc fdIo("FdIo"), ipc("Ipc");
const plat::LogSrc::Listed fdIoListed(fdIo), ipcListed(ipc);

std::vector<std::string> split(const std::string& text, char separator, size_t most) {
  std::vector<std::string> parts{""};
  for (char c : text) {
    if (c == separator && parts.size() < most) {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

using Limits = std::map<CountingDest*, int>;

Limits limitsOf(const std::string& spec, const plat::LogSrc& source) {
  Limits limits;
  for (const std::string& element : split(spec, ',', SIZE_MAX)) {
    const std::vector<std::string> parts = split(element, ':', 3);
    if (parts.size() < 3) continue;
    const char* end = parts[2].c_str();
    int limit;
    if (!plat::strToInt(&limit, &end, 10) || *end || limit < 0) continue;
    if (!plat::wildcardMatch(parts[0].c_str(), source.getName(), false)) continue;
    for (CountingDest* dest : {&file, &mem}) {
      if (plat::strCompareNoCase(dest->getName(), parts[1].c_str()) == 0) limits[dest] = limit;
    }
  }
  return limits;
}

void checkSource(plat::LogSrc& source, const Limits& limits) {
  int level = -1;
  for (const auto& [dest, limit] : limits) {
    level = std::max(level, std::min(dest->getLevel(), limit));
  }
  PLAT_ASSERT(source.getLevel() == level);
  for (int at :
       {int{plat::logError}, int{plat::logDebug}, level - 1, level, level + (level < INT_MAX)}) {
    const int before[] = {file.count, mem.count};
    source.log(at, "text");
    int i = 0;
    for (CountingDest* dest : {&file, &mem}) {
      const auto limit = limits.find(dest);
      const bool takes =
          limit != limits.end() && at <= limit->second && at <= level && dest->active;
      PLAT_ASSERT(dest->count - before[i++] == takes);
    }
  }
}

std::string listed(int width) {
  char* text = nullptr;
  size_t size = 0;
  FILE* stream = open_memstream(&text, &size);
  plat::LogSrc::listLogNames(width, stream);
  fclose(stream);
  return plat::String::adopt(text).get();
}

void checkList(int width) {
  static const std::string whole = listed(INT_MAX);
  std::string rest = whole, wrapped;
  while (static_cast<int>(rest.size()) + 1 > width) {
    // Behind the last name that ends early enough, but behind one at least.
    size_t comma = rest.rfind(',', static_cast<size_t>(std::max(width - 2, 0)));
    if (comma == rest.npos) comma = rest.find(',');
    if (comma == rest.npos) break;
    wrapped += rest.substr(0, comma) + ",\n";
    rest = " " + rest.substr(comma + 1);
  }
  PLAT_ASSERT(listed(width) == wrapped + rest);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  checkList(input.number(0, 100));
  file.setLevel(input.flag() ? input.number(0, 110) : INT_MAX);
  mem.active = input.flag();
  const std::string spec = fuzz::text(input.rest());

  plat::LogSrc::initLogging();
  plat::LogSrc::setLogSpec(spec.c_str());
  for (plat::LogSrc* source : {&fdIo, &ipc}) checkSource(*source, limitsOf(spec, *source));
  plat::LogSrc::setLogSpec(nullptr);
  PLAT_ASSERT(fdIo.getLevel() == -1);
  return 0;
}
