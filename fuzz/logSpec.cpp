// A log specification, against a plain reading of it, and the list of the sources.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <map>
#include <vector>

#include "base/plat/LogDestMem.h"
#include "base/plat/LogSrc.h"
#include "base/plat/NumUtil.h"
#include "base/plat/Wildcard.h"
#include "base/plat/utf8.h"
#include "fuzz/fuzz.h"

namespace {

struct CountingDest : plat::LogDest {
  using LogDest::LogDest;
  void write(int messageLevel, const char*, const char* text) override {
    errno = EIO;
    count++;
    last = std::to_string(messageLevel) + " " + text;
    all += text + std::string("\n");
  }
  bool isActive() const override { return active; }
  void setLevel(int newLevel) { level = newLevel; }
  int count = 0;
  std::string last, all;
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

struct Element {
  std::string pattern;
  CountingDest* dest;
  int limit;
};

std::vector<Element> elementsOf(const std::string& spec) {
  std::vector<Element> elements;
  for (const std::string& element : split(spec, ',', SIZE_MAX)) {
    const std::vector<std::string> parts = split(element, ':', 3);
    if (parts.size() < 3) continue;
    const char* end = parts[2].c_str();
    int limit;
    if (!plat::strToInt(&limit, &end, 10) || *end || limit < 0) continue;
    for (CountingDest* dest : {&file, &mem}) {
      if (plat::strCompareNoCase(dest->getName(), parts[1].c_str()) == 0) {
        elements.push_back({parts[0], dest, limit});
      }
    }
  }
  return elements;
}

using Limits = std::map<CountingDest*, int>;

Limits limitsOf(const std::string& spec, const plat::LogSrc& source) {
  Limits limits;
  for (const Element& element : elementsOf(spec)) {
    if (plat::wildcardMatch(element.pattern.c_str(), source.getName(), false)) {
      limits[element.dest] = element.limit;
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

// What waits in memory goes to the destinations of all sources, each in its turn, and those
// messages that none was given go on waiting.
void checkReplay(const std::string& spec, fuzz::Input& input) {
  plat::LogDestMem& memory = plat::LogDestMem::instance();
  memory.clear();
  std::vector<int> levels;
  const int count = input.number(0, 9) ? input.number(0, 5) : input.number(498, 503);
  for (int i = 0; i < count; i++) {
    levels.push_back(i < 500 ? input.number(0, 120) : 0);
    memory.write(levels[i], "Source", std::to_string(i).c_str());
  }
  if (levels.size() > 501) levels.resize(501);
  plat::LogSrc::setLogSpec(nullptr);
  file.all = mem.all = "";
  plat::LogSrc::setLogSpec(spec.c_str());

  auto textsUpTo = [&](int limit, int above) {
    std::string texts;
    for (size_t i = 0; i < levels.size(); i++) {
      if (levels[i] > limit || levels[i] <= above) continue;
      texts += i < 500 ? std::to_string(i) : "Too many messages, discarding further ones";
      texts += "\n";
    }
    if (texts.empty()) return texts;
    return "Start replaying stored messages\n" + texts + "Finished replaying stored messages\n";
  };
  std::map<CountingDest*, std::string> expected;
  int most = -1;
  for (const Element& element : elementsOf(spec)) {
    if (element.pattern != "*" || !element.dest->active) continue;
    expected[element.dest] += textsUpTo(element.limit, -1);
    most = std::max(most, element.limit);
  }
  for (CountingDest* dest : {&file, &mem}) PLAT_ASSERT(dest->all == expected[dest]);
  file.all = "";
  memory.replayTo(&file, 100);
  PLAT_ASSERT(file.all == textsUpTo(100, most));
  PLAT_ASSERT(file.all.empty() || file.last == "100 Finished replaying stored messages");
  memory.clear();
}

// Escaped, and no longer than the buffer.
void checkText(const std::string& text) {
  file.setLevel(INT_MAX);
  plat::LogSrc::setLogSpec("Ipc:file:50");
  auto written = [](const std::string& line) {
    return std::string(plat::escapeUtf8(line.c_str(), '~').orEmpty());
  };
  errno = ENOENT;
  ipc.write(7, text.c_str());
  PLAT_ASSERT(errno == ENOENT);
  PLAT_ASSERT(file.last == "7 " + written(text));
  const std::string padding(4080, 'x');
  ipc.info("%s%s", padding.c_str(), text.c_str());
  const plat::String cut = plat::fixUtf8((padding + text).c_str(), nullptr, 4095);
  if (plat::isValidUtf8(text.c_str())) PLAT_ASSERT(file.last == "30 " + written(cut.get()));
  file.all = "";
  ipc.writeLines(50, text.c_str());
  std::string lines;
  for (const std::string& line : split(text, '\n', SIZE_MAX)) {
    if (!line.empty()) lines += written(line) + "\n";
  }
  PLAT_ASSERT(file.all == lines);
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
  plat::LogSrc::initLogging();
  fuzz::Input more = input;
  const std::string spec = fuzz::text(input.rest());
  checkReplay(spec, more);
  plat::LogSrc::setLogSpec(spec.c_str());
  for (plat::LogSrc* source : {&fdIo, &ipc}) checkSource(*source, limitsOf(spec, *source));
  checkText(spec);
  plat::LogSrc::setLogSpec(nullptr);
  PLAT_ASSERT(fdIo.getLevel() == -1);
  return 0;
}
