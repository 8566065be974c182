#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <vector>

#include "apps/common/backend.h"
#include "apps/common/deviceUri.h"
#include "apps/common/jobFormat.h"
#include "apps/common/jobNames.h"
#include "apps/cups-qolt/TempFileSet.h"
#include "apps/cups-qolt/identity.h"
#include "apps/cups-qolt/jobFiles.h"
#include "apps/cups-qolt/notify.h"
#include "apps/cups-qolt/zrle-generator.h"
#include "base/os/unix/Passwd.h"
#include "base/os/unix/setuid.h"
#include "base/plat/Assertion.h"
#include "base/plat/Exception.h"
#include "base/plat/unix/OwnedFd.h"

namespace {

// fileName null: the document comes on standard input.
void printJob(const char* jobId, const char* title, const char* fileName, TempFileSet& tempFiles) {
  plat::OwnedFd inputFile(fileName ? open(fileName, O_RDONLY | O_CLOEXEC) : -1);
  if (fileName && inputFile.get() < 0) {
    throw plat::SystemExceptionFmt("open(\"%s\", O_RDONLY)", errno, fileName);
  }
  umask(077);
  plat::String prefix = job::prefixOf(jobId);

  const char* uri = getenv("DEVICE_URI");
  plat::String formatName, name;
  uint32_t uid;
  if (!parseDeviceUri(uri, &formatName, &uid, &name)) {
    throw plat::ExceptionFmt("invalid device-uri '%s'", uri ? uri : "(null)");
  }
  const job::Format* format = job::findFormat(formatName.get());
  if (!format) {
    // Whatever formats there are: the text is known to others.
    throw plat::AssertionFail("wantZRLE || format == \"PS\" || format == \"PDF\"", __FILE__,
                              __LINE__);
  }
  const bool hasPages = format->kind == job::DocumentKind::pages;
  os::Passwd account(false, nullptr, uid);

  const plat::String inputPath = job::inputPath(prefix.get());
  const plat::String descriptionPath = job::descriptionPath(prefix.get());
  const char* sourceFilename = nullptr;
  if (fileName || !hasPages) {
    storeInput(fileName ? inputFile.release() : STDIN_FILENO, tempFiles, inputPath.get(), account);
    sourceFilename = inputPath.get();
  }

  // In /tmp, which is sticky, the account cannot remove what a stranger has put under these
  // names to stop the queue. What root cannot either fails the creation of the file.
  unlink(descriptionPath.get());
  unlink(job::pagePath(prefix.get(), 0).get());
  os::dropPrivileges(account);
  reportIdentity();

  std::vector<plat::String> documents;
  if (hasPages) {
    generateZrlePages(sourceFilename, prefix.get(), documents);
  } else {
    PLAT_ASSERT(sourceFilename);
    documents.emplace_back(sourceFilename);
  }

  tempFiles.insert(documents);
  plat::String description = describeJob(title, getenv("PRINTER"), format->name, documents);
  writeDescription(tempFiles, descriptionPath.get(), description.get());

  notifyServer(uid, name.get(), descriptionPath.get(), documents, tempFiles);
}

}  // namespace

int main(int argc, char** argv) {
  job::startBackend();

  if (argc == 1) {
    puts("direct qolt:/ \"QOLT Printer\" \"QOLT Remote Printer\"");
    return 0;
  }
  if (argc != 6 && argc != 7) {
    fputs("Usage: qolt job user title num-copies options [filename]\n", stderr);
    return 1;
  }

  TempFileSet tempFiles;
  tempFiles.unlinkOnSigterm();
  try {
    printJob(argv[1], argv[3], argc == 7 ? argv[6] : nullptr, tempFiles);
  } catch (const plat::Exception& e) {
    fprintf(stderr, "qolt: %s\n", e.message);
    return 1;
  } catch (const std::bad_alloc&) {
    // Its files must go as those of any other job that fails.
    fputs("qolt: out of memory\n", stderr);
    return 1;
  }
  return 0;
}
