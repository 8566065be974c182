#include "apps/common/jobNames.h"

#include <sys/stat.h>

#include <cstring>
#include <string_view>
#include <utility>

#include "base/os/unix/DirEnum.h"
#include "base/plat/DString.h"

namespace job {

namespace {

constexpr char folder[] = "/tmp/";
constexpr char start[] = "/tmp/qolt-";
constexpr char inputSuffix[] = ".in", descriptionSuffix[] = ".ini", pageSuffix[] = ".zrle";

}  // namespace

plat::String prefixOf(const char* jobId) {
  return plat::strFormat("%s%s", start, plat::orEmpty(jobId));
}

plat::String inputPath(const char* prefix) {
  return plat::strFormat("%s%s", prefix, inputSuffix);
}

plat::String descriptionPath(const char* prefix) {
  return plat::strFormat("%s%s", prefix, descriptionSuffix);
}

plat::String pagePath(const char* prefix, int page) {
  return plat::strFormat("%s-%d%s", prefix, page, pageSuffix);
}

plat::String idOf(const char* descriptionPath) {
  if (!isJobFile(descriptionPath)) return plat::String("");
  const char* id = descriptionPath + strlen(start);
  const size_t length =
      strlen(id) - (isDescription(descriptionPath) ? strlen(descriptionSuffix) : 0);
  return plat::strDup(id, static_cast<int>(length));
}

bool isDescription(const char* path) {
  return isJobFile(path) && plat::endsWith(path, descriptionSuffix);
}

plat::String prefixOfDocument(const char* path) {
  if (!isJobFile(path)) return plat::String();
  const std::string_view text(path);
  size_t length = text.size();
  if (text.ends_with(inputSuffix)) {
    length -= strlen(inputSuffix);
  } else if (text.ends_with(pageSuffix)) {
    length = text.rfind('-');
  } else {
    return plat::String();
  }
  return plat::strDup(path, static_cast<int>(length));
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
