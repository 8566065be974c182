#include "apps/common/jobNames.h"

#include <sys/stat.h>

#include <cstring>
#include <utility>

#include "base/os/unix/DirEnum.h"
#include "base/plat/DString.h"

namespace job {

namespace {

constexpr char folder[] = "/tmp/";
constexpr char start[] = "/tmp/qolt-";

}  // namespace

plat::String prefixOf(const char* jobId) {
  return plat::strFormat("%s%s", start, plat::orEmpty(jobId));
}

plat::String inputPath(const char* prefix) {
  return plat::strFormat("%s.in", prefix);
}

plat::String descriptionPath(const char* prefix) {
  return plat::strFormat("%s.ini", prefix);
}

plat::String pagePath(const char* prefix, int page) {
  return plat::strFormat("%s-%d.zrle", prefix, page);
}

bool isJobFile(const char* path) {
  return plat::startsWith(path, start) && !strchr(path + strlen(start), '/');
}

std::vector<plat::String> filesOf(uid_t account) {
  std::vector<plat::String> files;
  os::DirEnum entries(folder);
  while (const char* name = entries.next()) {
    plat::String path = plat::strFormat("%s%s", folder, name);
    struct stat status;
    if (isJobFile(path.get()) && lstat(path.get(), &status) == 0 && S_ISREG(status.st_mode) &&
        status.st_uid == account) {
      files.push_back(std::move(path));
    }
  }
  return files;
}

}  // namespace job
