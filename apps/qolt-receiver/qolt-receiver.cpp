#include <poll.h>
#include <sys/signalfd.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "apps/common/writePng.h"
#include "apps/qolt-receiver/DescriptionFile.h"
#include "apps/qolt-receiver/Endpoint.h"
#include "apps/qolt-receiver/OutputFolder.h"
#include "apps/qolt-receiver/jobFile.h"
#include "apps/qolt-receiver/message.h"
#include "base/os/AppInfo.h"
#include "base/os/SocketUtil.h"
#include "base/plat/Exception.h"
#include "base/plat/NumUtil.h"
#include "base/plat/file.h"
#include "base/plat/time.h"
#include "base/plat/unix/OwnedFd.h"
#include "base/plat/utf8.h"
#include "base/rdr/Exceptions.h"
#include "base/rdr/FdInStream.h"

namespace receiver {

namespace {

constexpr char usage[] =
    "Usage: qolt-receiver [--name=ENDPOINT] [--output=DIR] [--timeout=SECONDS]\n"
    "Receives the print jobs of the account that runs it: device URI\n"
    "qolt:/FORMAT/UID@ENDPOINT with its user id.\n"
    "  --name=ENDPOINT    printq by default\n"
    "  --output=DIR       where the documents go, pages as PNG pictures; the current\n"
    "                     folder by default\n"
    "  --timeout=SECONDS  how long a job may take to announce itself, 10 by default\n";

struct Options {
  const char* name = "printq";
  const char* output = ".";
  int timeoutS = 10;
  bool help = false;
};

Options parseOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; i++) {
    const char* argument = argv[i];
    const char* value = strchr(argument, '=');
    if (value) value++;
    if (plat::startsWith(argument, "--name=")) {
      if (strchr(value, '/')) throw plat::ExceptionFmt("a \"/\" in the name \"%s\"", value);
      options.name = value;
    } else if (plat::startsWith(argument, "--output=")) {
      options.output = value;
    } else if (plat::startsWith(argument, "--timeout=")) {
      options.timeoutS = plat::parseInt(value, 10, "--timeout takes 1 to 3600 seconds", 1, 3600);
    } else if (!strcmp(argument, "--help")) {
      options.help = true;
    } else {
      throw plat::ExceptionFmt("unknown argument \"%s\"; see --help", argument);
    }
  }
  return options;
}

void report(const plat::Exception& problem) {
  fprintf(stderr, "qolt-receiver: %s\n", plat::escapeUtf8(problem.message, '~').get());
}

// SIGINT and SIGTERM, held back from now on and seen when this program waits: what it
// has begun with a job's files is never cut short.
class StopSignals {
 public:
  StopSignals() : fd(hold()) {
    if (fd.get() < 0) throw plat::SystemException("signalfd", errno);
  }

  enum class Wait { readable, timedOut, stopped };
  // timeoutMs -1: no limit.
  Wait waitFor(int readFd, int timeoutMs) const {
    pollfd fds[2] = {{fd.get(), POLLIN, 0}, {readFd, POLLIN, 0}};
    int n;
    do {
      n = poll(fds, 2, timeoutMs);
    } while (n < 0 && errno == EINTR);
    if (n < 0) throw plat::SystemException("poll", errno);
    if (fds[0].revents) return Wait::stopped;
    return n ? Wait::readable : Wait::timedOut;
  }

 private:
  static int hold() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC);
  }

  plat::OwnedFd fd;
};

// How the documents of a format are stored.
struct Storing {
  const char* extension;
  bool asPicture;
};

Storing storingOf(const std::string& format) {
  if (format == "PDF") return {"pdf", false};
  if (format == "PS") return {"ps", false};
  if (format == "ZRLE") return {"zrle", true};
  throw plat::ExceptionFmt("unknown document format \"%s\"", format.c_str());
}

std::string takePicture(const char* page, FILE* file, const std::string& stem,
                        OutputFolder& output) {
  std::string place =
      output.create(stem, "png", [&](FILE* out) { png::writePng(file, page, out); });
  plat::fileRemove(page);
  return place;
}

// A job with a document that cannot be taken keeps the rest of its files. A page that is
// no picture, or a broken one, is taken as the file that it is.
void takeJob(const char* descriptionPath, OutputFolder& output) {
  plat::MBuf<unsigned char> text = openJobFile(descriptionPath).readAll(maxDescriptionSize);
  DescriptionFile job = DescriptionFile::parse(
      {reinterpret_cast<const char*>(text.data()), static_cast<size_t>(text.size())});
  const Storing storing = storingOf(job.format);
  for (size_t i = 0; i < job.documents.size(); i++) {
    const char* document = job.documents[i].c_str();
    plat::FilePtr file = openJobFile(document);
    std::string stem = documentStem(job.title, storing.extension, i);
    std::string place;
    if (storing.asPicture) {
      try {
        place = takePicture(document, file.get(), stem, output);
      } catch (const plat::Exception& problem) {
        report(problem);
      }
    }
    if (place.empty()) {
      place = output.moveIn(document, fileno(file.get()), stem, storing.extension);
    }
    printf("received %s\n", place.c_str());
  }
  plat::fileRemove(descriptionPath);
}

// Null when there is none: the peer only looked whether someone listens, or this
// program is to stop.
plat::String receiveMessage(int fd, const StopSignals& signals, int timeoutS) {
  rdr::FdInStream in(fd);
  in.setCloseOnDestroy(true);
  os::setBlocking(fd, false);
  in.setNonBlocking(true);
  plat::Ticks deadline = plat::monotonicNow() + timeoutS * plat::ticksPerSecond;
  for (;;) {
    try {
      return readMessage(in);
    } catch (const rdr::BlockException&) {
      plat::Ticks left = std::max<plat::Ticks>(deadline - plat::monotonicNow(), 0);
      switch (
          signals.waitFor(fd, static_cast<int>((left + plat::ticksPerMs - 1) / plat::ticksPerMs))) {
        case StopSignals::Wait::readable:
          break;
        case StopSignals::Wait::timedOut:
          throw plat::ExceptionFmt("bad message: not complete after %d s", timeoutS);
        case StopSignals::Wait::stopped:
          return plat::String();
      }
    } catch (const rdr::EndOfStream&) {
      if (in.pos() + in.nUnread() == 0) return plat::String();
      throw plat::Exception("bad message: cut off");
    }
  }
}

void serve(const Options& options) {
  umask(077);
  OutputFolder output(options.output);
  StopSignals signals;
  Endpoint endpoint(options.name);
  printf("listening on %s\n", endpoint.path());

  while (signals.waitFor(endpoint.getFd(), -1) == StopSignals::Wait::readable) {
    try {
      int fd = os::acceptSocket(endpoint.getFd());
      if (fd < 0) continue;
      plat::String path = receiveMessage(fd, signals, options.timeoutS);
      if (!path.isNull()) takeJob(path.get(), output);
    } catch (const plat::Exception& problem) {
      report(problem);
    }
  }
}

}  // namespace

}  // namespace receiver

int main(int argc, char** argv) {
  os::AppInfo::set("print", "Quenfor", "qolt", nullptr, nullptr);
  setvbuf(stdout, nullptr, _IOLBF, 0);
  try {
    receiver::Options options = receiver::parseOptions(argc, argv);
    if (options.help) {
      fputs(receiver::usage, stdout);
    } else {
      receiver::serve(options);
    }
  } catch (const plat::Exception& problem) {
    receiver::report(problem);
    return 1;
  }
  return 0;
}
