#include "base/plat/builtInResource.h"

#include <map>
#include <mutex>

#include "base/plat/unix/RecursiveMutex.h"

namespace plat {

namespace {

// Never destroyed: texts are looked up until the very end of the process.
struct Resources {
  RecursiveMutex mutex;
  std::map<String, Resource, LessString> byName;
};

Resources& resources() {
  static Resources& instance = *new Resources;
  return instance;
}

}  // namespace

void registerResource(const char* name, const void* data, int size) {
  Resources& all = resources();
  std::lock_guard<RecursiveMutex> lock(all.mutex);
  all.byName.insert_or_assign(String(name), Resource{data, size});
}

Resource getResource(const char* name) {
  Resources& all = resources();
  std::lock_guard<RecursiveMutex> lock(all.mutex);
  auto found = all.byName.find(name);
  return found == all.byName.end() ? Resource{} : found->second;
}

}  // namespace plat
