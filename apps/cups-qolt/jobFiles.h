#pragma once

#include <vector>

#include "apps/cups-qolt/TempFileSet.h"
#include "base/plat/FilePtr.h"
#include "base/plat/String.h"
#include "base/plat/unix/OwnedFd.h"

namespace os {
class Passwd;
}
namespace rdr {
class InStream;
class OutStream;
}  // namespace rdr

// The files of a job lie in /tmp under predictable names, so whatever stands there
// already is suspect.

// Opens an empty file of mode 0600 that is always a new one: what has the name, of
// whatever kind, is unlinked, and neither opened nor followed. What cannot be unlinked,
// such as a folder, stays as it is. Throws plat::SystemExceptionFmt "Error opening \"%s\"".
plat::FilePtr createJobFile(const char* path);
// The same; holds the path in the set as soon as the file is the job's.
plat::FilePtr createJobFile(TempFileSet& tempFiles, const char* path);

// Opens a stored document again, whose owner may have put anything else in its place
// since: accepts a regular file only, and waits for nothing. Throws
// plat::SystemExceptionFmt "open(\"%s\", O_RDONLY)".
plat::OwnedFd openStoredInput(const char* path);

// Copies until the output is full (false), or an input that does not block has nothing more
// for now (true). The end of an input comes as rdr::EndOfStream or rdr::EndOfMsg.
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
void writeDescription(TempFileSet& tempFiles, const char* path, const char* text);
