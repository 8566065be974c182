#pragma once

#include <cstdio>
#include <vector>

#include "apps/cups-qolt/TempFileSet.h"
#include "base/plat/FilePtr.h"
#include "base/plat/String.h"

namespace os {
class Passwd;
}
namespace rdr {
class InStream;
class OutStream;
}  // namespace rdr

// The files of a job lie in /tmp under predictable names, so whatever stands there
// already is suspect.

// Opens an empty file of mode 0600. No link is followed: an existing entry is taken over,
// and truncated, only when it is a regular file with one link that root or the account
// `ownerUid` left behind. Any other entry stays as it is. Throws
// plat::SystemExceptionFmt "Error opening \"%s\"".
plat::FilePtr createJobFile(const char* path, uid_t ownerUid);
// The same; holds the path in the set as soon as the file is the job's.
plat::FilePtr createJobFile(TempFileSet& tempFiles, const char* path, uid_t ownerUid);

// Copies the input to its end and returns true; false when the output is full.
// Precondition: `in` was not read past its last checkpoint.
bool copyStream(rdr::InStream& in, rdr::OutStream& out);

// Stores the whole input under the path and gives the file to the account. Closes the
// descriptor unless it is 0, also when this throws. A document that was not stored
// whole throws.
void storeInput(int inputFd, TempFileSet& tempFiles, const char* path, const os::Passwd& account);

// The text of the description file. Nothing in it is escaped. `queue` may be null.
plat::String describeJob(const char* title, const char* queue, const char* format,
                         const std::vector<plat::String>& documents);

// Writes the text to the file, and to standard error.
void writeDescription(TempFileSet& tempFiles, const char* path, const char* text, uid_t ownerUid);
