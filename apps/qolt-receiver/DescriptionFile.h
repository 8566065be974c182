#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "apps/common/jobFormat.h"

namespace receiver {

constexpr int maxDescriptionSize = 1 << 20;  // bytes
constexpr size_t maxDocuments = 10000;

// What the backend tells about a job.
//   "[Document]" LF "Name=" title LF "[Device]" LF "DeviceName=" queue LF
//   "[" format "]" LF "Count=" N LF ("File" i "=" path LF) for i in 0 .. N - 1
// Nothing is escaped, so the title, which the user chose, may hold line feeds and
// lines like those that follow it.
struct DescriptionFile {
  std::string title, queue;
  const job::Format* format;           // never null
  std::vector<std::string> documents;  // paths, as they stand

  // Throws plat::Exception.
  static DescriptionFile parse(std::string_view text);
};

}  // namespace receiver
