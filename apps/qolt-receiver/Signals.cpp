#include "apps/qolt-receiver/Signals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>

#include "base/io/FdManager.h"
#include "base/plat/Exception.h"

namespace receiver {

static int holdSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (int number : {SIGINT, SIGTERM, SIGCHLD}) sigaddset(&signals, number);
  // Ignored, which is inherited, it would not come, and how a child ended could not be known.
  signal(SIGCHLD, SIG_DFL);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  int fd = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
  if (fd < 0) throw plat::SystemException("signalfd", errno);
  return fd;
}

Signals::Signals(Callback newCallback)
    : FdHandler(-1), ownedFd(holdSignals()), callback(std::move(newCallback)) {
  fd = ownedFd.get();
  io::FdManager::current()->addHandler(this);
  io::FdManager::current()->setInterest(this, io::interestRead);
}

Signals::~Signals() {
  io::FdManager::current()->removeHandler(this);
}

void Signals::fdReadable() {
  signalfd_siginfo signal;
  while (read(fd, &signal, sizeof signal) == sizeof signal) {
    callback(static_cast<int>(signal.ssi_signo));
  }
}

}  // namespace receiver
