#include "apps/cups-qolt/RasterStreams.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "base/plat/Exception.h"
#include "base/plat/unix/OwnedFd.h"

namespace cupsraster {

namespace {

using namespace std::string_view_literals;

// Versions 1, 3 and 2, each in both byte orders.
constexpr std::string_view syncWords[] = {"RaSt"sv, "tSaR"sv, "RaS3"sv,
                                          "3SaR"sv, "RaS2"sv, "2SaR"sv};
constexpr size_t uncompressedWords = 4;  // the first of them
constexpr size_t wordSize = 4;           // bytes

bool mayBecomeSyncWord(std::string_view bytes) {
  return std::any_of(std::begin(syncWords), std::end(syncWords),
                     [&](std::string_view word) { return word.starts_with(bytes); });
}

// What cannot be looked into, or read at all, is for the library to refuse. Any other
// failure must not pass for the end of the document.
std::string peeked(const char* bytes, ssize_t count, const char* call) {
  if (count < 0 && errno != EINVAL && errno != EBADF && errno != EISDIR) {
    throw plat::SystemException(call, errno);
  }
  return std::string(bytes, static_cast<size_t>(std::max<ssize_t>(count, 0)));
}

std::string peekFile(int fd, off_t position) {
  char bytes[wordSize];
  ssize_t count = pread(fd, bytes, wordSize, position);
  return peeked(bytes, count, "pread");
}

// Nothing for what is no pipe.
std::string peekPipe(int fd) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) < 0) throw plat::SystemException("pipe2", errno);
  plat::OwnedFd copy(ends[0]), copyIn(ends[1]);

  for (bool ended = false;;) {
    pollfd data{fd, POLLIN, 0};
    poll(&data, 1, -1);
    char bytes[wordSize];
    ssize_t count = tee(fd, copyIn.get(), wordSize, SPLICE_F_NONBLOCK);
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (count > 0) count = read(copy.get(), bytes, static_cast<size_t>(count));
    const std::string next = peeked(bytes, count, "tee");
    if (ended || next.empty() || next.size() == wordSize || !mayBecomeSyncWord(next)) return next;
    // With some bytes there the pipe stays readable, so only its end is an event. Words
    // are hardly ever torn: looking again now and then will do.
    pollfd hangUp{fd, 0, 0};
    ended = poll(&hangUp, 1, 20) > 0;
  }
}

// What comes next, and stays in the descriptor. Shorter than a word at the end of the data, or
// when it cannot become a sync word any more.
std::string peek(int fd) {
  off_t position = lseek(fd, 0, SEEK_CUR);
  return position < 0 ? peekPipe(fd) : peekFile(fd, position);
}

// Where it cannot be known, all that is asked for.
bool isThere(int fd, unsigned length) {
  int available;
  return ioctl(fd, FIONREAD, &available) < 0 || available >= static_cast<int64_t>(length);
}

}  // namespace

RasterStreams::RasterStreams(int newFd, const char* newName)
    : fd(newFd), name(newName), raster(open()) {}

RasterStreams::~RasterStreams() {
  try {
    cupsRasterClose(raster);
  } catch (const plat::Exception&) {
  }
}

bool RasterStreams::nextHeader(cups_page_header_t* header) {
  do {
    // Before reading, since the library would consume a sync word as part of a header;
    // and again behind what it refused.
    while (openFollowing()) {
    }
    if (cupsRasterReadHeader(raster, header)) return true;
  } while (openFollowing());
  return false;
}

unsigned RasterStreams::readPixels(unsigned char* buffer, unsigned length) {
  if (idleWork) {
    while (!isThere(fd, length) && idleWork()) {
    }
  }
  return cupsRasterReadPixels(raster, buffer, length);
}

cups_raster_t* RasterStreams::open() {
  const auto uncompressedEnd = syncWords + uncompressedWords;
  readsAhead = std::find(syncWords, uncompressedEnd, peek(fd)) == uncompressedEnd;
  cups_raster_t* opened = cupsRasterOpen(fd, CUPS_RASTER_READ);
  if (!opened) throw plat::ExceptionFmt("cupsRasterOpen('%s') failed", name.orEmpty());
  return opened;
}

bool RasterStreams::openFollowing() {
  if (readsAhead) return false;
  const std::string next = peek(fd);
  if (next.size() < wordSize || !mayBecomeSyncWord(next)) return false;
  cupsRasterClose(std::exchange(raster, open()));
  return true;
}

}  // namespace cupsraster
