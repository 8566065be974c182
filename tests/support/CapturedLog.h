#pragma once

#include <string>
#include <vector>

#include "base/plat/LogDest.h"
#include "base/plat/LogSrc.h"

// The destination "captured". The constructor puts a log specification into
// force; the destructor goes back to the parameter "Log". Lines read
// "<level> <source> <text>".
class CapturedLog : public plat::LogDest {
 public:
  explicit CapturedLog(const char* spec = "*:captured:110") : LogDest("captured") {
    plat::LogSrc::setLogSpec(spec);
  }
  ~CapturedLog() override { plat::LogSrc::setLogSpec(nullptr); }

  void write(int messageLevel, const char* source, const char* text) override {
    lines.push_back(std::to_string(messageLevel) + " " + source + " " + text);
  }
  bool isActive() const override { return active; }
  void setLevel(int newLevel) { level = newLevel; }

  // Hands over what was captured so far.
  std::vector<std::string> take() {
    std::vector<std::string> taken;
    taken.swap(lines);
    return taken;
  }

  std::vector<std::string> lines;
  bool active = true;
};
