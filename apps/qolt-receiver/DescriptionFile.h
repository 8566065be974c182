#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "apps/common/jobFormat.h"
#include "base/plat/FilePtr.h"

namespace receiver {

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
  // Of a whole file. Likewise; what the system says is a plat::SystemException.
  static DescriptionFile read(plat::FilePtr& file);
};

}  // namespace receiver
