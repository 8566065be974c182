#include "apps/cups-qolt/notify.h"

#include <cstdio>
#include <memory>

#include "base/os/PipeNameScoped.h"
#include "base/os/unix/UnixIo.h"
#include "base/plat/SString.h"
#include "base/rdr/OutStream.h"

void notifyServer(uint32_t uid, const char* name, const char* descriptionPath,
                  const std::vector<plat::String>& documents, TempFileSet& tempFiles) {
  char user[16] = "";
  plat::sstrAppendFormat(user, sizeof(user), "%u", uid);
  plat::String endpoint = os::PipeNameScoped::name(name, user, nullptr, 0, -1);

  fprintf(stderr, "qolt: connecting to socket \"%s\"\n", endpoint.get());
  auto server = std::make_unique<os::UnixIo>(endpoint.get(), -1, false);
  fprintf(stderr, "qolt: socket connected successfully\n");

  // From the first byte on the server may take the files, so a cancelled job must
  // not unlink them any more.
  SigtermHold hold;
  server->out()->writeString(descriptionPath);
  server->out()->flush();
  tempFiles.erase(descriptionPath);
  for (const plat::String& document : documents) tempFiles.erase(document.get());
}
