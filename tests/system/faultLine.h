#pragma once

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace test {

struct FaultLine {
  std::string step, job, fault, message;
  int status;
  std::vector<std::string> left;
};

// One line on standard output; scripts/reliability-table makes a table of them. What
// differs from run to run is replaced: pairs of a text and what stands for it.
inline void print(FaultLine line,
                  const std::vector<std::pair<std::string, std::string>>& replacements) {
  std::string left;
  for (const std::string& path : line.left) left += (left.empty() ? "`" : ", `") + path + "`";
  std::string text = "FAULT | " + line.step + " | " + line.job + " | " + line.fault + " | " +
                     (line.message.empty() ? "none" : "`" + line.message + "`") + " | " +
                     std::to_string(line.status) + " | " + (left.empty() ? "nothing" : left);
  for (const auto& [from, to] : replacements) {
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
      text.replace(at, from.size(), to);
    }
  }
  puts(text.c_str());
}

}  // namespace test
