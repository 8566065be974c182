#include "apps/cups-qolt/RasterStreams.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
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

// What comes next, and stays in the descriptor. Shorter than a word at the end of the data, or
// when it cannot become a sync word any more.
struct NextBytes {
  char bytes[4];
  size_t count = 0;

  std::string_view text() const { return {bytes, count}; }
  bool isWholeWord() const { return count == sizeof bytes; }
  bool mayBecomeSyncWord() const {
    return std::any_of(std::begin(syncWords), std::end(syncWords),
                       [this](std::string_view word) { return word.starts_with(text()); });
  }
  bool isSyncWord() const { return isWholeWord() && mayBecomeSyncWord(); }
  bool isUncompressed() const {
    return std::find(syncWords, syncWords + uncompressedWords, text()) !=
           syncWords + uncompressedWords;
  }
};

// What cannot be looked into, or read at all, is for the library to refuse. Any other
// failure must not pass for the end of the document.
void checkPeek(ssize_t count, const char* call) {
  if (count < 0 && errno != EINVAL && errno != EBADF && errno != EISDIR) {
    throw plat::SystemException(call, errno);
  }
}

NextBytes peekFile(int fd, off_t position) {
  NextBytes next;
  ssize_t count = pread(fd, next.bytes, sizeof next.bytes, position);
  checkPeek(count, "pread");
  if (count > 0) next.count = static_cast<size_t>(count);
  return next;
}

// Nothing for what is no pipe.
NextBytes peekPipe(int fd) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) < 0) throw plat::SystemException("pipe2", errno);
  plat::OwnedFd copy(ends[0]), copyIn(ends[1]);

  for (bool ended = false;;) {
    pollfd data{fd, POLLIN, 0};
    poll(&data, 1, -1);
    NextBytes next;
    ssize_t count = tee(fd, copyIn.get(), sizeof next.bytes, SPLICE_F_NONBLOCK);
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (count > 0) count = read(copy.get(), next.bytes, static_cast<size_t>(count));
    checkPeek(count, "tee");
    if (count <= 0) return next;
    next.count = static_cast<size_t>(count);
    if (ended || next.isWholeWord() || !next.mayBecomeSyncWord()) return next;
    // With some bytes there the pipe stays readable, so only its end is an event. Words
    // are hardly ever torn: looking again now and then will do.
    pollfd hangUp{fd, 0, 0};
    ended = poll(&hangUp, 1, 20) > 0;
  }
}

NextBytes peek(int fd) {
  off_t position = lseek(fd, 0, SEEK_CUR);
  return position < 0 ? peekPipe(fd) : peekFile(fd, position);
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

cups_raster_t* RasterStreams::open() {
  readsAhead = !peek(fd).isUncompressed();
  cups_raster_t* opened = cupsRasterOpen(fd, CUPS_RASTER_READ);
  if (!opened) throw plat::ExceptionFmt("cupsRasterOpen('%s') failed", name.orEmpty());
  return opened;
}

bool RasterStreams::openFollowing() {
  if (readsAhead || !peek(fd).isSyncWord()) return false;
  cupsRasterClose(std::exchange(raster, open()));
  return true;
}

}  // namespace cupsraster
