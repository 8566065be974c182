#include "apps/cups-qolt/notify.h"

#include <sys/socket.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>

#include "apps/common/SigtermHold.h"
#include "base/os/LocalPrivateDir.h"
#include "base/os/PipeNameScoped.h"
#include "base/os/unix/UnixIo.h"
#include "base/plat/Exception.h"
#include "base/rdr/OutStream.h"

namespace {

constexpr uid_t rootUid = 0;

// A link is none: its owner chooses where it leads.
bool isDirectoryOf(const struct stat& info, uid_t uid) {
  return S_ISDIR(info.st_mode) && (info.st_uid == uid || info.st_uid == rootUid);
}

}  // namespace

void notifyServer(uint32_t uid, const char* name, const char* descriptionPath,
                  const std::vector<plat::String>& documents, TempFileSet& tempFiles) {
  const std::string user = std::to_string(uid);
  plat::String directory = os::LocalPrivateDir::get(user.c_str());
  plat::String endpoint = os::PipeNameScoped::name(name, user.c_str(), nullptr, 0, -1);

  fprintf(stderr, "qolt: connecting to socket \"%s\"\n", endpoint.get());
  // Looked at first: in /tmp, which is sticky, nobody else can replace it afterwards.
  struct stat info = {};
  int lookError = lstat(directory.get(), &info) < 0 ? errno : 0;
  auto server = std::make_unique<os::UnixIo>(endpoint.get(), -1, false);
  fprintf(stderr, "qolt: socket connected successfully\n");

  // Whoever else listens would swallow the job, and a foreign directory may lead to any
  // other program of the account.
  if (server->getPeerEuid() != rootUid) server->namedPipeCredCheck(uid);
  if (lookError) throw plat::SystemExceptionFmt("lstat(%s)", lookError, directory.get());
  if (!isDirectoryOf(info, uid)) {
    throw plat::ExceptionFmt("namedPipeCredCheck: uid mismatch (%s)", directory.get());
  }

  // From the first byte on the server may take the files, so a cancelled job must
  // not unlink them any more.
  SigtermHold hold;
  try {
    server->out()->writeString(descriptionPath);
    server->out()->flush();
  } catch (const plat::Exception&) {
    // The stream's destructor would try once more, and announce a job that has failed.
    shutdown(server->getFd(), SHUT_RDWR);
    throw;
  }
  tempFiles.setDelivered();
  tempFiles.erase(descriptionPath);
  for (const plat::String& document : documents) tempFiles.erase(document.get());
}
