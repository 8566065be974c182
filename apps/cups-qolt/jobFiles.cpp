#include "apps/cups-qolt/jobFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "apps/common/SigtermHold.h"
#include "base/os/unix/Passwd.h"
#include "base/plat/DString.h"
#include "base/plat/Exception.h"
#include "base/rdr/Exceptions.h"
#include "base/rdr/FdInStream.h"
#include "base/rdr/FileOutStream.h"

namespace {

// -1 and errno when no new file can be made. What has the name may be held open by
// anybody, who would read the job through it, so it is never written to.
int openNewFile(const char* path) {
  // Somebody may take the name again each time.
  constexpr int tries = 5;
  for (int i = 0;; i++) {
    int fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0664);
    if (fd >= 0 || errno != EEXIST || i == tries) return fd;
    if (unlink(path) < 0 && errno != ENOENT) {
      errno = EEXIST;
      return -1;
    }
  }
}

}  // namespace

plat::FilePtr createJobFile(const char* path) {
  plat::OwnedFd fd(openNewFile(path));
  FILE* file = fd.get() < 0 ? nullptr : fdopen(fd.get(), "w");
  if (!file) {
    int error = errno;
    if (fd.get() >= 0) unlink(path);  // it is the job's, and nobody else will
    throw plat::SystemExceptionFmt("Error opening \"%s\"", error, path);
  }
  fd.release();
  return plat::FilePtr(file, true);
}

plat::FilePtr createJobFile(TempFileSet& tempFiles, const char* path) {
  // Held back so that a cancelled job leaves no file behind that the set does not know.
  SigtermHold hold;
  tempFiles.insert(path);
  try {
    return createJobFile(path);
  } catch (const plat::Exception&) {
    tempFiles.erase(path);  // the entry is not the job's
    throw;
  }
}

plat::OwnedFd openStoredInput(const char* path) {
  plat::OwnedFd fd(open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  int error = errno;
  struct stat status;
  if (fd.get() >= 0) {
    if (fstat(fd.get(), &status) < 0) {
      error = errno;
    } else if (!S_ISREG(status.st_mode)) {
      error = EINVAL;
    } else if (fcntl(fd.get(), F_SETFL, O_RDONLY) < 0) {
      error = errno;
    } else {
      return fd;
    }
  }
  throw plat::SystemExceptionFmt("open(\"%s\", O_RDONLY)", error, path);
}

bool copyStream(rdr::InStream& in, rdr::OutStream& out) {
  for (;;) {
    out.flush();
    int count = out.freeSpace();
    if (count == 0) return false;
    const auto* bytes = in.getItems(1, &count, false);
    if (!bytes) return true;
    out.writeBytes(bytes, count);
    in.checkpoint();
  }
}

void storeInput(int inputFd, TempFileSet& tempFiles, const char* path, const os::Passwd& account) {
  rdr::FdInStream in(inputFd);
  in.setCloseOnDestroy(inputFd != 0);
  plat::FilePtr file = createJobFile(tempFiles, path);
  if (fchown(fileno(file.get()), account.entry.pw_uid, account.entry.pw_gid) < 0) {
    throw plat::SystemExceptionFmt("fchown(%s)", errno, path);
  }
  rdr::FileOutStream out(file.release(), true);
  try {
    if (!copyStream(in, out)) throw rdr::OutStreamFull();
  } catch (const rdr::EndOfStream&) {
  } catch (const rdr::EndOfMsg&) {
  }
  // The destructor would hide what only the last write finds, such as a full disk.
  out.close();
}

plat::String describeJob(const char* title, const char* queue, const char* format,
                         const std::vector<plat::String>& documents) {
  plat::DString text;
  text.append("[Document]\n");
  text.appendFormat("Name=%s\n", title);
  text.append("[Device]\n");
  text.appendFormat("DeviceName=%s\n", queue ? queue : "(null)");
  text.appendFormat("[%s]\n", format);
  text.appendFormat("Count=%lu\n", static_cast<unsigned long>(documents.size()));
  for (size_t i = 0; i < documents.size(); i++) {
    text.appendFormat("File%d=%s\n", static_cast<int>(i), documents[i].orEmpty());
  }
  return text.release();
}

void writeDescription(TempFileSet& tempFiles, const char* path, const char* text) {
  rdr::FileOutStream out(createJobFile(tempFiles, path).release(), true);
  out.writeBytes(text, plat::strLen(text));
  fputs(text, stderr);
  out.close();
}
