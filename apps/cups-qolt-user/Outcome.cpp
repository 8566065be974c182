#include "apps/cups-qolt-user/Outcome.h"

namespace {

// What the other backend says when it is more than a fault of the machine; docs/install.md
// has all its lines.
struct Failure {
  std::string_view line;  // its beginning
  cups_backend_t status;
  const char* text;
};
constexpr Failure failures[] = {
    {"cupsRasterOpen(", CUPS_BACKEND_CANCEL, "The document is no raster"},
    {"Invalid CUPS page size", CUPS_BACKEND_CANCEL,
     "A page of the document is damaged or too large"},
    {"Unexpected end of CUPS page data", CUPS_BACKEND_FAILED, "The document ends within a page"},
    {"UnixIo: File name too long", CUPS_BACKEND_CANCEL,
     "The name in the queue's device is too long"},
    {"namedPipeCredCheck: uid mismatch", CUPS_BACKEND_FAILED,
     "Another account listens for print jobs in this one's place"},
};

}  // namespace

Outcome nobodyReceives(const char* user) {
  return {CUPS_BACKEND_HOLD, std::string("Nobody receives print jobs for ") + user};
}

Outcome outcomeOfFailure(std::string_view lastLine, const char* user) {
  constexpr std::string_view speaker = "qolt: ";
  if (lastLine.starts_with(speaker)) lastLine.remove_prefix(speaker.size());
  // The server was there, or its socket, when the job began.
  if (lastLine.starts_with("connect: No such file or directory") ||
      lastLine.starts_with("connect: Connection refused")) {
    return nobodyReceives(user);
  }
  for (const Failure& failure : failures) {
    if (lastLine.starts_with(failure.line)) return {failure.status, failure.text};
  }
  return {CUPS_BACKEND_FAILED, "The job was not delivered: " + std::string(lastLine)};
}
