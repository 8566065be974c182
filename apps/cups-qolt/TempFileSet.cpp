#include "apps/cups-qolt/TempFileSet.h"

#include <unistd.h>

#include <csignal>

#include "apps/common/SigtermHold.h"

namespace {

TempFileSet* unlinkedOnSigterm = nullptr;

}  // namespace

TempFileSet::~TempFileSet() {
  SigtermHold hold;
  unlinkAll();
  if (unlinkedOnSigterm == this) unlinkedOnSigterm = nullptr;
}

void TempFileSet::unlinkOnSigterm() {
  SigtermHold hold;
  unlinkedOnSigterm = this;
  struct sigaction action = {};
  action.sa_handler = terminated;
  sigaction(SIGTERM, &action, nullptr);
}

void TempFileSet::setDelivered() {
  signal(SIGTERM, SIG_IGN);
}

// Ends the process itself: the streams repeat interrupted calls, so a flag would
// not end a job that waits for its document.
void TempFileSet::terminated(int) {
  if (unlinkedOnSigterm) unlinkedOnSigterm->unlinkAll();
  _exit(1);
}

void TempFileSet::insert(const char* path) {
  SigtermHold hold;
  paths.emplace(path);
}

void TempFileSet::insert(const std::vector<plat::String>& list) {
  for (const plat::String& path : list) insert(path.get());
}

void TempFileSet::erase(const char* path) {
  SigtermHold hold;
  const auto found = paths.find(path);
  if (found != paths.end()) paths.erase(found);
}

void TempFileSet::unlinkAll() const {
  for (const plat::String& path : paths) {
    if (!path.isEmpty()) unlink(path.get());
  }
}
