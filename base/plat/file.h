#pragma once

#include <sys/types.h>

#include <cstdio>
#include <initializer_list>

#include "base/plat/NumUtil.h"
#include "base/plat/String.h"
#include "base/plat/time.h"

namespace plat {

// The system's file calls. Each does what its name says or throws
// plat::SystemExceptionFmt with the name of the call, its argument and errno.
// Paths are not null. Symbolic links are followed unless it says otherwise.

String currentDir();
// The path without links, "." and "..". Precondition: it begins with "/". Every
// component must exist; more than 20 links are ELOOP.
String absolutePath(const char* path);

// Mode 0777, or 0700 when private, less the umask. True when it was made; false when
// something of that name exists, which fixExisting, if it is a directory, makes private
// to the effective user as fileMakePrivate does.
bool mkDir(const char* path, bool isPrivate, bool fixExisting = false);
// With the owner, group and mode of its parent. False when the path exists.
bool mkDirMatchParent(const char* path);
void rmDir(const char* path);
void chDir(const char* path);

// False for ENOENT and ENOTDIR only; any other doubt throws.
bool fileExists(const char* path);
S64 fileGetSize(const char* path);                   // bytes
Ticks fileGetTime(const char* path);                 // last modification, wall clock
void fileSetTime(const char* path, Ticks modified);  // and last access
// open() with close-on-exec; the caller closes the descriptor.
int fileOpenFd(const char* path, int flags, mode_t mode = 0600);
void fileRemove(const char* path);
void fileRename(const char* from, const char* to);

// Gives the file to the user, the group unchanged, and takes every permission from group
// and others; a file gets mode 0600, a directory keeps the bits of its owner. By name, a
// symbolic link is refused with ELOOP: who may plant one must not choose what is given away.
void fileMakePrivate(int fd, uid_t user);
void fileMakePrivate(const char* path, uid_t user);
void fileMakeSticky(const char* path);
void fileCopyPerms(const char* from, int fd);
// The owners of the path and of a link there are among the trusted ones, and
// neither group nor others may write. Throws plat::Exception otherwise.
void checkPermissions(const char* path, std::initializer_list<uid_t> trusted);

// On a stdio file these see what it has buffered. Whence as for lseek().
void fileTruncate(int fd, S64 size);
void fileTruncate(FILE* file, S64 size);
S64 fileTell(int fd);
S64 fileTell(FILE* file);
void fileSeek(int fd, S64 offset, int whence = SEEK_SET);
void fileSeek(FILE* file, S64 offset, int whence = SEEK_SET);

// Advisory lock of the whole file; waits. It belongs to the open file, so
// another open of the same file in this process waits as well.
void fileLock(int fd, bool exclusive = true);
void fileUnlock(int fd);
bool fileIsSameAsFd(const char* path, int fd);

// The first free one of "DIR/stem.ext", "DIR/stem<separator>1.ext", ... up to
// the limit. A name, not a reservation: whoever creates the file must use O_EXCL
// where others may write to the directory. Throws plat::Exception.
String uniqueFileName(const char* dir, const char* name, const char* separator, int limit);

// Exactly n bytes. Throws plat::Exception "End of file" when there are fewer.
void readFully(int fd, void* data, size_t n);

}  // namespace plat
