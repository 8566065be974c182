#pragma once

#include <vector>

#include "base/plat/String.h"

namespace receiver {

struct LeftJob {
  plat::String description;  // path of the description file
  bool isFresh;              // its backend may be about to announce it, or to withdraw it
};

// The jobs of the own account that lie in /tmp, the oldest first. Throws plat::SystemException.
std::vector<LeftJob> leftJobs();

// Removes the documents of the own account in /tmp that are older and belong to no job that
// lies there. Throws plat::SystemException.
void removeOrphans(int maxAgeHours);

}  // namespace receiver
