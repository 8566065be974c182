#pragma once

#include <cstdint>
#include <string>

namespace receiver {

// What is stored for people to have.
struct Document {
  uint64_t number = 0;  // in the journal
  std::string path;     // absolute, in the output folder
  std::string jobId, title, queue;
  bool forCommand = false;  // false: it is kept, but nothing can be done with it
};

}  // namespace receiver
