// The backend of queues that are for everybody: it finds out to whom a job goes and leaves
// the rest to the backend qolt.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "apps/common/backend.h"
#include "apps/common/deviceUri.h"
#include "apps/cups-qolt-user/Outcome.h"
#include "apps/cups-qolt-user/owner.h"
#include "apps/cups-qolt-user/runQolt.h"
#include "base/os/PipeNameScoped.h"
#include "base/plat/Exception.h"
#include "base/plat/utf8.h"

namespace {

Outcome deliver(char** arguments) {
  const char* user = arguments[2];
  const char* uri = getenv("DEVICE_URI");
  const job::Format* format;
  plat::String name;
  if (!parseUserUri(uri, &format, &name)) {
    return {CUPS_BACKEND_CANCEL,
            std::string("The queue's device is not qolt-user:/FORMAT/NAME: ") + plat::orEmpty(uri)};
  }
  const Owner owner = findOwner(user, leastUserId("/etc/login.defs"));
  if (!owner.refusal.empty()) return {CUPS_BACKEND_CANCEL, owner.refusal};

  // Before the document is taken, which may be long. Whatever else is wrong there, the other
  // backend sees it too.
  const std::string uid = std::to_string(owner.uid);
  const plat::String endpoint = os::PipeNameScoped::name(name.get(), uid.c_str(), nullptr, 0, -1);
  struct stat status;
  if (lstat(endpoint.get(), &status) < 0 && errno == ENOENT) return nobodyReceives(user);

  const std::string device = std::string("qolt:/") + format->name + "/" + uid + "@" + name.get();
  setenv("DEVICE_URI", device.c_str(), true);
  const BackendEnd end = runQolt(arguments);
  if (end.status == 0) return {CUPS_BACKEND_OK, ""};
  if (end.cancelled) return {CUPS_BACKEND_FAILED, ""};
  return outcomeOfFailure(end.lastLine, user);
}

// A filter that cannot write its output fails, and CUPS may then take the job for one whose
// document is bad, and stop it.
void takeRestOfDocument() {
  char bytes[65536];
  while (read(STDIN_FILENO, bytes, sizeof bytes) > 0) {
  }
}

}  // namespace

int main(int argc, char** argv) {
  job::startBackend();
  if (argc == 1) {
    puts("direct qolt-user:/ \"QOLT Printer\" \"QOLT Remote Printer of everybody\"");
    return CUPS_BACKEND_OK;
  }
  if (argc == 2 && !strcmp(argv[1], "--version")) {
    puts("qolt-user " QOLT_VERSION);
    return CUPS_BACKEND_OK;
  }
  if (argc != 6 && argc != 7) {
    const bool isHelp = argc == 2 && (!strcmp(argv[1], "--help") || !strcmp(argv[1], "-h"));
    fputs("Usage: qolt-user job user title num-copies options [filename]\n",
          isHelp ? stdout : stderr);
    return isHelp ? CUPS_BACKEND_OK : CUPS_BACKEND_FAILED;
  }

  fputs("STATE: +connecting-to-device\n", stderr);
  Outcome outcome;
  try {
    outcome = deliver(argv);
  } catch (const plat::Exception& problem) {
    outcome = {CUPS_BACKEND_FAILED, problem.message};
  }
  if (!outcome.text.empty()) {
    // First, as what the filters say at their end would take the place of the reason.
    if (argc == 6) takeRestOfDocument();
    fprintf(stderr, "ERROR: %s\n", plat::escapeUtf8(outcome.text.c_str(), '~').get());
  }
  fputs("STATE: -connecting-to-device\n", stderr);
  return outcome.status;
}
