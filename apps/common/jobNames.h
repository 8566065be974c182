#pragma once

#include <sys/types.h>

#include <vector>

#include "base/plat/String.h"

// The names of the files of a job, which lie in /tmp beside each other and belong to the
// receiving account. All begin with the prefix of the job; docs/formats.md lists them.
namespace job {

// The job id goes in as it is.
plat::String prefixOf(const char* jobId);
plat::String inputPath(const char* prefix);
plat::String descriptionPath(const char* prefix);
plat::String pagePath(const char* prefix, int page);  // from 0

// Of a description file: the job id, or whatever stands in its place.
plat::String idOf(const char* descriptionPath);

bool isDescription(const char* path);
// That of the job of an input or a page; null when the path is that of neither.
plat::String prefixOfDocument(const char* path);

// Whether a file of some job may have this name. No part of such a name leads elsewhere.
bool isJobFile(const char* path);

// The paths of all files of jobs that belong to the account, in no particular order. Throws
// plat::SystemException.
std::vector<plat::String> filesOf(uid_t account);

}  // namespace job
